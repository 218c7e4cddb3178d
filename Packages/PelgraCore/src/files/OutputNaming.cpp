#include "PelgraCore/OutputNaming.h"

#include <limits>
#include <stdexcept>

#include <sys/stat.h>

namespace Pelgra::OutputNaming {

namespace {

/// Whether the folder has an entry of this name. lstat, so that a dangling link counts.
bool isTaken(const std::filesystem::path& path)
{
    struct stat status{};
    return lstat(path.c_str(), &status) == 0;
}

} // namespace

std::string candidateName(std::string_view baseName, std::string_view pathExtension, unsigned long number)
{
    std::string name(baseName);
    if (number > 1)
        name += " " + std::to_string(number);
    if (!pathExtension.empty())
        name.append(".").append(pathExtension);
    return name;
}

std::filesystem::path uniqueURL(const std::filesystem::path& directory, std::string_view baseName,
                                std::string_view pathExtension)
{
    for (unsigned long number = 1; number < std::numeric_limits<unsigned long>::max(); ++number) {
        std::filesystem::path candidate = directory / candidateName(baseName, pathExtension, number);
        if (!isTaken(candidate))
            return candidate;
    }
    throw std::overflow_error("no free name is left");
}

std::string baseNameOf(const std::filesystem::path& input, std::string_view suffix)
{
    const std::filesystem::path name = input.has_filename() ? input.filename() : input.parent_path().filename();
    std::string base = name.stem().string();
    if (!suffix.empty())
        base.append(" ").append(suffix);
    return base;
}

std::filesystem::path siblingURL(const std::filesystem::path& input, std::string_view suffix,
                                 std::string_view pathExtension)
{
    return uniqueURL(input.parent_path(), baseNameOf(input, suffix), pathExtension);
}

} // namespace Pelgra::OutputNaming
