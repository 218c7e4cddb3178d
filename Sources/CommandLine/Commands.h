#pragma once

#include "CommandLine/Arguments.h"
#include "CommandLine/Console.h"

namespace Pelgra {

/// Exit statuses of the program; a signal adds its number to 128.
enum ExitStatus : int {
    exitDone = 0, ///< every output is complete and on disk
    exitFailed = 1,
    exitUsage = 2,
};

/// Carries out a command and returns the exit status.
int runCommand(const Invocation& invocation, Console& console);

} // namespace Pelgra
