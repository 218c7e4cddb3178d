#pragma once

#include <algorithm>
#include <thread>

namespace Pelgra {

/// The number of threads that work well at once here, at least 1.
inline int workerCount()
{
    return static_cast<int>(std::max(1U, std::thread::hardware_concurrency()));
}

} // namespace Pelgra
