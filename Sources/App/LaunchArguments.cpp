#include "App/LaunchArguments.h"

#include <stdexcept>
#include <string_view>

namespace Pelgra {

namespace {

WheelKind kindNamed(std::string_view name)
{
    if (name == "convert")
        return WheelKind::convert;
    if (name == "tools")
        return WheelKind::tools;
    throw std::invalid_argument("The option --kind takes convert or tools.");
}

std::filesystem::path fileNamed(const std::string& word)
{
    std::error_code noFolder;
    std::filesystem::path file = std::filesystem::absolute(word, noFolder);
    if (noFolder)
        throw std::invalid_argument("“" + word + "” isn’t there: the folder it was looked for in has been deleted.");
    return file;
}

} // namespace

LaunchArguments LaunchArguments::parse(std::span<const std::string> words)
{
    constexpr std::string_view kindOption = "--kind";
    constexpr std::string_view kindAssignment = "--kind=";
    LaunchArguments result;
    if (!words.empty() && words.front() == "wheel")
        words = words.subspan(1);
    bool onlyFiles = false;
    for (std::size_t i = 0; i < words.size(); ++i) {
        const std::string_view word = words[i];
        if (onlyFiles || !word.starts_with('-') || word == "-") {
            result.files.push_back(fileNamed(words[i]));
        } else if (word == "--") {
            onlyFiles = true;
        } else if (word.starts_with(kindAssignment)) {
            result.kind = kindNamed(word.substr(kindAssignment.size()));
        } else if (word == kindOption) {
            result.kind = kindNamed(i + 1 < words.size() ? std::string_view(words[++i]) : std::string_view());
        } else if (word == "--background") {
            result.background = true;
        } else if (word == "--settings") {
            result.settings = true;
        } else if (word == "--doctor") {
            result.doctor = true;
        } else if (word == "--verbose") {
            result.verbose = true;
        } else if (word == "-ToolWindowsDebug") {
            // Its tool and files, up to the next option, are not for a wheel.
            while (i + 1 < words.size() && !words[i + 1].starts_with('-'))
                ++i;
        } else if (word.starts_with("--")) {
            throw std::invalid_argument("There is no option “" + words[i] + "”.");
        } else {
            ++i; // a pair of a setting and its value
        }
    }
    return result;
}

} // namespace Pelgra
