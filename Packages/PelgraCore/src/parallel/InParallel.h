#pragma once

#include "parallel/OrderedPipeline.h"

#include <functional>
#include <stop_token>
#include <variant>

namespace Pelgra {

/// Runs work(0) to work(count - 1) on that many threads and waits for all of it. Throws the first failure in order, and
/// JobCancelled soon after a requested stop.
inline void inParallel(int count, int workers, const std::stop_token& stop, const std::function<void(int)>& work)
{
    const auto items = static_cast<std::size_t>(count);
    OrderedPipeline<std::monostate> pipeline(items, workers, items, stop);
    pipeline.run(
        [&](std::size_t index) {
            work(static_cast<int>(index));
            return std::monostate();
        },
        [](std::size_t, std::monostate) {});
}

} // namespace Pelgra
