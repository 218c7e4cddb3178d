#include "CommandLine/Arguments.h"

#include "CommandLine/PageList.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <string_view>

namespace Pelgra {

namespace {

struct CommandName {
    std::string_view name;
    Command command;
};
constexpr std::array commandNames{
    CommandName{"convert", Command::convert},   CommandName{"create", Command::create},
    CommandName{"merge", Command::merge},       CommandName{"split", Command::split},
    CommandName{"organize", Command::organize}, CommandName{"targets", Command::targets},
    CommandName{"wheel", Command::wheel},       CommandName{"help", Command::help},
    CommandName{"version", Command::version},   CommandName{"doctor", Command::wheel},
    CommandName{"tap", Command::tap},
};

std::string quoted(std::string_view text)
{
    return "“" + std::string(text) + "”";
}

double number(std::string_view text, std::string_view option)
{
    double value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size() || !std::isfinite(value))
        throw UsageError("The option " + std::string(option) + " needs a number, not " + quoted(text) + ".");
    return value;
}

/// Every spelling that names a file of the format also names the format: jpg, jpeg, JPG and so on.
FileFormat formatNamed(std::string_view name)
{
    if (name.find_first_of("./") == name.npos)
        if (const auto format = FileFormat::detect("x." + std::string(name)))
            return *format;
    throw UsageError("There is no format " + quoted(name) + ".");
}

/// Walks over the words once, from the left.
class Parser {
public:
    explicit Parser(std::span<const char* const> words)
        : m_words(words)
    {
    }

    Invocation parse()
    {
        if (!m_words.empty() && isForTheDesktop(m_words.front()))
            passOnFrom(0);
        while (m_next < m_words.size() && !m_finished)
            takeWord(m_words[m_next++]);
        if (!m_command)
            // Without any words the program is the wheel; options alone mean that the command was forgotten.
            m_command = m_words.empty() ? Command::wheel : throw UsageError("No command was given.");
        m_result.command = *m_command;
        check();
        return std::move(m_result);
    }

private:
    /// An option that came before the command.
    struct EarlyOption {
        std::string_view name;
        Command owner;
    };

    void takeWord(std::string_view word)
    {
        if (!m_onlyFiles && word == "--")
            m_onlyFiles = true;
        else if (!m_onlyFiles && word.size() > 1 && word.front() == '-')
            takeOption(word);
        else if (!m_command)
            takeCommand(word);
        else
            m_result.files.emplace_back(word);
    }

    void takeCommand(std::string_view word)
    {
        const auto* const found =
            std::find_if(commandNames.begin(), commandNames.end(), [&](const auto& c) { return c.name == word; });
        if (found == commandNames.end())
            throw UsageError("There is no command " + quoted(word) + ".");
        m_command = found->command;
        if (found->command == Command::tap)
            takeWheel();
        else if (found->name == "doctor")
            askTheDesktop();
        else if (m_command == Command::wheel)
            passOnFrom(m_next);
    }

    /// Whether the first word belongs to the desktop program: a setting for the run, or an option of it.
    static bool isForTheDesktop(std::string_view word)
    {
        constexpr std::array<std::string_view, 12> words{
            "-convertKey",       "-toolsKey",         "-jpegQuality",     "-checkForUpdatesAutomatically",
            "-dragTargets",      "-PelgraDebugWheel", "-PelgraDebugKind", "-PelgraDebugHighlight",
            "-ToolWindowsDebug", "--settings",        "--background",     "--verbose"};
        return std::find(words.begin(), words.end(), word) != words.end();
    }

    /// The words of a key binding are few and fixed.
    void takeWheel()
    {
        m_command = Command::tap;
        if (m_next + 1 == m_words.size())
            m_result.wheel = m_words[m_next++];
        if (m_result.wheel != "convert" && m_result.wheel != "tools")
            throw UsageError("This command takes “convert” or “tools”.");
    }

    /// What works in the session the desktop program alone can tell.
    void askTheDesktop()
    {
        if (m_next < m_words.size())
            throw UsageError("This command takes no files and no options.");
        m_command = Command::wheel;
        m_result.passedOn = {"--doctor"};
    }

    /// The desktop program reads its own words.
    void passOnFrom(std::size_t first)
    {
        m_command = Command::wheel;
        m_result.passedOn.assign(m_words.begin() + static_cast<std::ptrdiff_t>(first), m_words.end());
        m_finished = true;
    }

    void takeOption(std::string_view word)
    {
        const std::size_t equals = word.find('=');
        const std::string_view name = word.substr(0, equals);
        m_attached = equals == word.npos ? std::nullopt : std::optional(word.substr(equals + 1));
        if (name == "--help" || name == "-h")
            return finishWith(Command::help, name);
        if (name == "--version" || name == "-V")
            return finishWith(Command::version, name);
        if (name == "--json")
            m_result.json = flag(name);
        else if (name == "--uniform-width" && isFor(Command::organize, name))
            m_result.uniformWidth = flag(name);
        else if (name == "--pages" && isFor(Command::organize, name))
            m_result.pages = parsePageList(value(name));
        else if (name == "--to" && isFor(Command::convert, name))
            m_result.target = formatNamed(value(name));
        else if (name == "--jpeg-quality" && isFor(Command::convert, name))
            m_result.options.jpegQuality = number(value(name), name);
        else if (name == "--heic-quality" && isFor(Command::convert, name))
            m_result.options.heicQuality = number(value(name), name);
        else if (name == "--dpi" && isFor(Command::convert, name))
            m_result.options.pdfRasterDPI = number(value(name), name);
        else
            throw UsageError("There is no option " + quoted(name) + (m_command ? " for this command." : "."));
    }

    /// Options may come before their command.
    bool isFor(Command command, std::string_view option)
    {
        if (!m_command)
            m_earlyOptions.push_back({option, command});
        return !m_command || *m_command == command;
    }

    void finishWith(Command command, std::string_view name)
    {
        flag(name);
        m_command = command;
        m_finished = true;
    }

    bool flag(std::string_view name) const
    {
        if (m_attached)
            throw UsageError("The option " + std::string(name) + " takes no value.");
        return true;
    }

    std::string_view value(std::string_view name)
    {
        if (m_attached)
            return *m_attached;
        if (m_next == m_words.size())
            throw UsageError("The option " + std::string(name) + " needs a value.");
        return m_words[m_next++];
    }

    void check() const
    {
        switch (m_result.command) {
        case Command::help:
        case Command::version:
        case Command::wheel:
        case Command::tap:
            return;
        case Command::convert:
            if (!m_result.target)
                throw UsageError("The format to convert to is missing (--to FORMAT).");
            break;
        case Command::organize:
            if (m_result.pages.empty())
                throw UsageError("The list of pages is missing (--pages LIST).");
            [[fallthrough]];
        case Command::split:
            if (m_result.files.size() > 1)
                throw UsageError("This command takes one file.");
            break;
        case Command::create:
        case Command::merge:
        case Command::targets:
            break;
        }
        if (m_result.files.empty())
            throw UsageError("No files were given.");
        for (const EarlyOption& option : m_earlyOptions)
            if (option.owner != m_result.command)
                throw UsageError("There is no option " + quoted(option.name) + " for this command.");
    }

    std::span<const char* const> m_words;
    std::size_t m_next = 0;
    bool m_onlyFiles = false;
    bool m_finished = false;
    std::optional<Command> m_command;
    std::optional<std::string_view> m_attached; ///< the value of --name=value
    std::vector<EarlyOption> m_earlyOptions;
    Invocation m_result;
};

} // namespace

Invocation parseArguments(std::span<const char* const> words)
{
    return Parser(words).parse();
}

} // namespace Pelgra
