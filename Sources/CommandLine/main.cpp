#include "CommandLine/Arguments.h"
#include "CommandLine/Commands.h"
#include "CommandLine/Console.h"

#include <malloc.h>
#include <signal.h>

namespace {

/// Decoders allocate and free the same memory for every tile of a picture. Keeping it costs this short-lived process
/// nothing and saves the system from handing out fresh pages each time.
void keepFreedMemory()
{
    mallopt(M_MMAP_THRESHOLD, 4 << 20);
    mallopt(M_TOP_PAD, 16 << 20);
}

} // namespace

int main(int argc, char** argv)
{
    using namespace Pelgra;
    claimStandardDescriptors();
    keepFreedMemory();
    signal(SIGPIPE, SIG_IGN); // a reader that went away is an error of the write
    signal(SIGXFSZ, SIG_IGN); // and so is a file beyond the allowed size
    const std::span<const char* const> words(argv, static_cast<std::size_t>(argc));
    try {
        const Invocation invocation = parseArguments(words.subspan(argc > 0 ? 1 : 0));
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
