#include "CommandLine/Console.h"

#include "CommandLine/Json.h"

#include <cerrno>

#include <fcntl.h>
#include <unistd.h>

namespace Pelgra {

namespace {

bool writeAll(int descriptor, std::string_view text)
{
    while (!text.empty()) {
        const ssize_t count = write(descriptor, text.data(), text.size());
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0)
            return false;
        text.remove_prefix(static_cast<std::size_t>(count));
    }
    return true;
}

/// A file's name must not control the terminal it is shown on, by a character of seven bits or, in UTF-8, of eight.
std::string withoutControlCharacters(std::string text)
{
    for (std::size_t index = 0; index < text.size(); ++index) {
        const auto byte = static_cast<unsigned char>(text[index]);
        const unsigned char next = index + 1 < text.size() ? static_cast<unsigned char>(text[index + 1]) : 0;
        if (byte < 0x20 || byte == 0x7F)
            text[index] = '?';
        else if (byte == 0xC2 && next >= 0x80 && next < 0xA0)
            text.replace(index, 2, "?");
    }
    return text;
}

std::string jsonObject(const JobResult& result)
{
    std::string text = "{\"outputs\":[";
    for (const auto& output : result.outputs)
        text.append(&output == &result.outputs.front() ? "" : ",").append(jsonString(output.native()));
    return text + "],\"displayName\":" + jsonString(result.displayName) + "}\n";
}

std::string jsonObject(const EngineError& error, const std::optional<std::filesystem::path>& file)
{
    return "{\"error\":{\"case\":" + jsonString(error.caseName()) + ",\"message\":" + jsonString(error.what())
        + ",\"file\":" + (file ? jsonString(file->native()) : "null") + "}}\n";
}

/// Whether the sentence already says all that the path would; a file in another folder it names by its last part.
bool isNamedIn(const std::string& sentence, const std::filesystem::path& file)
{
    return sentence.find("“" + file.native() + "”") != sentence.npos;
}

} // namespace

void claimStandardDescriptors()
{
    for (int descriptor = STDIN_FILENO; descriptor <= STDERR_FILENO; ++descriptor)
        if (fcntl(descriptor, F_GETFD) < 0 && errno == EBADF)
            // The lowest free number is this one. Read-only, so that writing to it is still an error.
            open("/dev/null", O_RDONLY);
}

Console::Console(bool json)
    : m_json(json)
    , m_resultsOnTerminal(isatty(STDOUT_FILENO) == 1)
    , m_errorsOnTerminal(isatty(STDERR_FILENO) == 1)
{
}

void Console::print(std::string_view text)
{
    clearProgress();
    if (m_succeeded && !writeAll(STDOUT_FILENO, text)) {
        m_succeeded = false;
        printMessage("Couldn’t write to standard output.");
    }
}

void Console::printResult(const JobResult& result)
{
    if (m_json)
        return print(jsonObject(result));
    std::string lines;
    for (const auto& output : result.outputs)
        lines += (m_resultsOnTerminal ? withoutControlCharacters(output.native()) : output.native()) + "\n";
    print(lines);
}

void Console::printError(const EngineError& error, const std::optional<std::filesystem::path>& file)
{
    if (m_json)
        print(jsonObject(error, file));
    std::string sentence = error.what();
    if (file && !isNamedIn(sentence, *file))
        sentence += " (" + file->native() + ")";
    printMessage(sentence);
}

void Console::printWarning(std::string_view sentence)
{
    if (m_json)
        print("{\"warning\":{\"message\":" + jsonString(sentence) + "}}\n");
    printMessage(sentence);
}

void Console::printMessage(std::string_view sentence)
{
    clearProgress();
    std::string line = "pelgra: " + std::string(sentence);
    if (m_errorsOnTerminal)
        line = withoutControlCharacters(std::move(line));
    writeAll(STDERR_FILENO, line + "\n");
}

void Console::showProgress(int done, int total)
{
    if (!m_errorsOnTerminal || total < 2)
        return;
    m_progressShown = true;
    writeAll(STDERR_FILENO, "\r\033[K" + std::to_string(done) + " of " + std::to_string(total));
}

void Console::clearProgress()
{
    if (m_progressShown)
        writeAll(STDERR_FILENO, "\r\033[K");
    m_progressShown = false;
}

} // namespace Pelgra
