#pragma once

#include <atomic>
#include <cstdint>

/// Signs of progress, for whoever watches this process from outside. Where nobody does, they cost next to nothing.
/// Safe from several threads.
namespace Pelgra::Heartbeat {

/// What lies in the memory shared with the watcher.
struct Shared {
    std::atomic<std::uint32_t> beats = 0; ///< only changes mean anything
    std::atomic<std::uint32_t> patience = 0; ///< seconds of processor time that the step under way may take longer
};
static_assert(std::atomic<std::uint32_t>::is_always_lock_free);

/// From now on signs are left there. The memory must stay for good.
void leaveSignsIn(Shared& shared);

/// Something was achieved: a page, a stretch of the output, a word that was read.
void beat();

/// Holds while a step is under way that cannot tell of progress and rightly takes that long.
class LongStep {
public:
    explicit LongStep(double processorSeconds);
    LongStep(const LongStep&) = delete;
    LongStep& operator=(const LongStep&) = delete;
    ~LongStep();

private:
    std::uint32_t m_seconds;
};

} // namespace Pelgra::Heartbeat
