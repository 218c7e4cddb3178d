#pragma once

#include <cstdint>

namespace Pelgra {

/// Raises the walls around this process, as far as the system has them, and returns those that stand as bits of Wall.
/// To be called by the only thread; those started later are behind the same walls. A system call that the filter
/// refuses fails with EPERM, and `refused` is called with its number, once for each, in a signal handler. Walls left
/// out are for tests, which must see what they are good for.
std::uint32_t raiseWalls(void (*refused)(std::uint32_t number), std::uint32_t leftOut = 0);

/// Tells of a refused call as the filter does, once for each number; for those that another wall refuses. Any thread.
void tellRefusedCall(std::uint32_t number) noexcept;

/// Bounds the data memory of the task that begins, within the wall; zero leaves it at that.
void limitTaskMemory(std::uint64_t bytes);

} // namespace Pelgra
