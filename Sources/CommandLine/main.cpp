#include "CommandLine/Arguments.h"
#include "CommandLine/Commands.h"
#include "CommandLine/Console.h"
#include "PelgraCore/Isolation.h"

#include <algorithm>
#include <span>
#include <string_view>

#include <signal.h>

namespace {

/// Starts the worker that a job will need while the words are still being read.
void startWorkerEarly(std::span<const char* const> words)
{
    using namespace Pelgra;
    constexpr std::string_view jobs[] = {"convert", "create", "merge", "split", "organize"};
    if (words.size() > 1 && std::ranges::count(jobs, std::string_view(words.front())) > 0)
        Isolation::warmUp(1);
}

} // namespace

int main(int argc, char** argv)
{
    using namespace Pelgra;
    claimStandardDescriptors();
    signal(SIGPIPE, SIG_IGN); // a reader that went away is an error of the write
    signal(SIGXFSZ, SIG_IGN); // and so is a file beyond the allowed size
    const std::span<const char* const> program(argv, static_cast<std::size_t>(argc));
    const std::span<const char* const> words = program.subspan(argc > 0 ? 1 : 0);
    try {
        Isolation::useWorkers(0);
        startWorkerEarly(words);
        const Invocation invocation = parseArguments(words);
        Console console(invocation.json);
        return runCommand(invocation, console);
    } catch (const UsageError& error) {
        Console console(false);
        console.printMessage(error.what());
        console.printMessage("“pelgra --help” lists the commands and their options.");
        return exitUsage;
    } catch (const std::exception& error) {
        Console(false).printMessage(error.what());
        return exitFailed;
    }
}
