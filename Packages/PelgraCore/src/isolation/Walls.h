#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace Pelgra {

/// What stands between a worker and everything else, as bits.
enum class Wall : std::uint32_t {
    noNewPrivileges = 1,
    files = 2, ///< Landlock: libraries, fonts and language data alone can be opened, and only to be read
    network = 4, ///< Landlock: no connection
    otherProcesses = 8, ///< Landlock: no signal to others
    calls = 16, ///< the filter of system calls
    memory = 32, ///< the limit of data memory
};

/// A line for each wall, whether it stands.
std::vector<std::string> wallReport(std::uint32_t standing);

/// The same in a line for the log.
std::string wallLine(std::uint32_t standing);

/// The bytes of data memory a worker may have: a share of the machine's, at least a gigabyte.
std::uint64_t workerMemoryLimit();

} // namespace Pelgra
