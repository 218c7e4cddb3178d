#include "CommandLine/Arguments.h"
#include "CommandLine/Commands.h"
#include "CommandLine/Console.h"

#include <signal.h>

int main(int argc, char** argv)
{
    using namespace Pelgra;
    claimStandardDescriptors();
    signal(SIGPIPE, SIG_IGN); // a reader that went away is an error of the write
    const std::span<const char* const> words(argv, static_cast<std::size_t>(argc));
    try {
        const Invocation invocation = parseArguments(words.subspan(argc > 0 ? 1 : 0));
        Console console(invocation.json);
        return runCommand(invocation, console);
    } catch (const UsageError& error) {
        Console console(false);
        console.printMessage(error.what());
        console.printMessage("“pelgra --help” shows what there is.");
        return exitUsage;
    } catch (const std::exception& error) {
        Console(false).printMessage(error.what());
        return exitFailed;
    }
}
