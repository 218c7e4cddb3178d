#include "parallel/Heartbeat.h"

#include <algorithm>

namespace Pelgra::Heartbeat {

namespace {

Shared* watched = nullptr;

} // namespace

void leaveSignsIn(Shared& shared)
{
    watched = &shared;
}

void beat()
{
    if (watched)
        watched->beats.fetch_add(1, std::memory_order_relaxed);
}

LongStep::LongStep(double processorSeconds)
    : m_seconds(static_cast<std::uint32_t>(std::clamp(processorSeconds, 0.0, 3600.0)))
{
    if (watched)
        watched->patience.fetch_add(m_seconds, std::memory_order_relaxed);
}

LongStep::~LongStep()
{
    if (watched) {
        beat(); // before the patience goes, so that the time taken is not counted against what comes next
        watched->patience.fetch_sub(m_seconds, std::memory_order_relaxed);
    }
}

} // namespace Pelgra::Heartbeat
