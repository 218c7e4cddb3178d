#include "CommandLine/Commands.h"

#include "CommandLine/DesktopProgram.h"
#include "CommandLine/HelpText.h"
#include "CommandLine/Interruption.h"
#include "CommandLine/Json.h"
#include "CommandLine/Tap.h"
#include "PelgraCore/Catalog.h"
#include "PelgraCore/Engine.h"
#include "PelgraCore/EngineError.h"
#include "PelgraCore/Version.h"

#include <filesystem>
#include <optional>
#include <string>

namespace Pelgra {

namespace {

/// The command that stands for a tool.
std::string_view commandFor(FileTool tool)
{
    switch (tool) {
    case FileTool::createPDF:
        return "create";
    case FileTool::mergePDF:
        return "merge";
    case FileTool::splitPDF:
        return "split";
    case FileTool::organizePDF:
        return "organize";
    }
    return {};
}

/// One line of `targets`: the words, or the wheel's message that there are none.
std::string offerLine(std::string_view title, const std::vector<std::string_view>& words, bool forConversion)
{
    std::string line = std::string(title) + ":";
    for (std::string_view word : words)
        line.append(" ").append(word);
    if (words.empty())
        line.append(" ").append(Catalog::emptyMessage(forConversion));
    return line + "\n";
}

std::string offerArray(const std::vector<std::string_view>& words)
{
    std::string array = "[";
    for (std::string_view word : words)
        array.append(array.size() > 1 ? "," : "").append(jsonString(word));
    return array + "]";
}

void printTargets(const Invocation& invocation, Console& console)
{
    std::vector<std::string_view> formats;
    for (FileFormat format : Catalog::conversionTargetsFor(invocation.files))
        formats.push_back(format.rawValue());
    std::vector<std::string_view> tools;
    for (FileTool tool : Catalog::toolsFor(invocation.files))
        tools.push_back(commandFor(tool));
    if (invocation.json)
        console.print("{\"convert\":" + offerArray(formats) + ",\"tools\":" + offerArray(tools) + "}\n");
    else
        console.print(offerLine("convert", formats, true) + offerLine("tools", tools, false));
}

/// The file an error is about: the one it names, else the input whose turn it was.
std::optional<std::filesystem::path> fileOf(const EngineError& error, const std::filesystem::path* input)
{
    if (const auto file = error.file())
        return file;
    return input ? std::optional(*input) : std::nullopt;
}

/// The file that a command had reached after so many results; null where all files are taken together.
const std::filesystem::path* inputInTurn(const Invocation& invocation, std::size_t done)
{
    switch (invocation.command) {
    case Command::create:
        for (const auto& file : invocation.files) {
            const auto format = FileFormat::detect(file);
            if (!format || !format->isImage())
                return &file;
        }
        return nullptr;
    case Command::convert:
    case Command::split:
    case Command::organize:
        return done < invocation.files.size() ? &invocation.files[done] : nullptr;
    case Command::merge:
    case Command::help:
    case Command::version:
    case Command::targets:
    case Command::wheel:
    case Command::tap:
        break;
    }
    return nullptr;
}

/// A batch reports its results by itself, as they come.
void printed(const JobResult& result, const JobControl& control)
{
    control.published(result);
}

/// Runs the engine's part of a command.
void runEngine(const Invocation& invocation, const JobControl& control)
{
    const std::vector<std::filesystem::path>& files = invocation.files;
    switch (invocation.command) {
    case Command::convert:
        Engine::convertAll(files, *invocation.target, invocation.options, control);
        break;
    case Command::create:
        return printed(Engine::createPDF(files, control), control);
    case Command::merge:
        return printed(Engine::mergePDFs(files, control), control);
    case Command::split:
        return printed(Engine::splitPDF(files.front(), control), control);
    case Command::organize:
        return printed(Engine::organizePDF(files.front(), invocation.pages, invocation.uniformWidth, control), control);
    case Command::help:
    case Command::version:
    case Command::targets:
    case Command::wheel:
    case Command::tap:
        break;
    }
}

int runJob(const Invocation& invocation, Console& console)
{
    const Interruption interruption;
    std::size_t done = 0;
    JobControl control;
    control.stop = interruption.token();
    control.progress = [&](int units, int total) {
        console.showProgress(units, total);
    };
    control.warning = [&](std::string_view sentence) {
        console.printWarning(sentence);
    };
    control.published = [&](const JobResult& result) {
        console.printResult(result);
        ++done;
    };
    try {
        runEngine(invocation, control);
    } catch (const JobCancelled&) {
        console.clearProgress();
        return interruption.exitStatus();
    } catch (const EngineError& error) {
        if (control.stop.stop_requested()) { // whatever else failed, the work was stopped
            console.clearProgress();
            return interruption.exitStatus();
        }
        console.printError(error, fileOf(error, inputInTurn(invocation, done)));
        return exitFailed;
    }
    console.clearProgress();
    return console.succeeded() ? exitDone : exitFailed;
}

} // namespace

int runCommand(const Invocation& invocation, Console& console)
{
    switch (invocation.command) {
    case Command::help:
        console.print(helpText());
        break;
    case Command::version:
        console.print("pelgra " + std::string(version()) + "\n");
        break;
    case Command::targets:
        printTargets(invocation, console);
        break;
    case Command::wheel:
        becomeDesktopProgram(invocation.passedOn);
        console.printMessage("The desktop program (pelgra-desktop) is not installed.");
        return exitFailed;
    case Command::tap:
        if (sendTap(invocation.wheel))
            break;
        console.printMessage("The desktop program is not running.");
        return exitFailed;
    case Command::convert:
    case Command::create:
    case Command::merge:
    case Command::split:
    case Command::organize:
        return runJob(invocation, console);
    }
    return console.succeeded() ? exitDone : exitFailed;
}

} // namespace Pelgra
