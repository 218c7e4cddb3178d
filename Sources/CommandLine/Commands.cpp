#include "CommandLine/Commands.h"

#include "CommandLine/DesktopProgram.h"
#include "CommandLine/HelpText.h"
#include "CommandLine/Json.h"
#include "PelgraCore/Catalog.h"
#include "PelgraCore/Version.h"

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
    case Command::convert:
    case Command::create:
    case Command::merge:
    case Command::split:
    case Command::organize:
        console.printMessage("This command is not available yet.");
        return exitFailed;
    }
    return console.succeeded() ? exitDone : exitFailed;
}

} // namespace Pelgra
