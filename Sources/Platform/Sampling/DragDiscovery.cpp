#include "Platform/Sampling/DragDiscovery.h"

#include <utility>

namespace Pelgra {

void DragDiscovery::pressed(ModifierFlags flags, Time now)
{
    timePassed(now);
    if (flags == 0)
        return;
    if (m_state == State::found) {
        m_latch.press(flags);
        return;
    }
    if (m_state == State::idle) {
        if (!m_mayBeUntil)
            return;
        m_state = State::looking;
        m_lookingSince = now;
    }
    m_tap = flags; // of two keys the later one is meant
}

void DragDiscovery::dragEntered(bool hasFiles)
{
    if (m_state != State::looking)
        return;
    if (!hasFiles) {
        dragEnded(End::over); // as far as we are concerned
        return;
    }
    m_state = State::found;
    m_latch = {};
    // The button is seen up before, so that a session whose end went unseen ends; and the key is seen up before and
    // after, so that it taps once.
    m_toPlay.push_back({m_changeCount, false, 0});
    ++m_changeCount;
    m_toPlay.push_back({m_changeCount, true, 0});
    m_toPlay.push_back({m_changeCount, true, m_tap});
    m_toPlay.push_back({m_changeCount, true, 0});
}

void DragDiscovery::dragEnded(End end)
{
    if (end == End::over)
        m_mayBeUntil.reset();
    if (std::exchange(m_state, State::idle) == State::found)
        m_toPlay.push_back({m_changeCount, false, 0});
}

void DragDiscovery::timePassed(Time now)
{
    if (m_state == State::looking && now - m_lookingSince >= patience)
        m_state = State::idle;
    if (m_mayBeUntil && now >= *m_mayBeUntil)
        m_mayBeUntil.reset();
}

DragDiscovery::Sample DragDiscovery::nextSample()
{
    if (m_toPlay.empty()) {
        const bool isFound = m_state == State::found;
        return {m_changeCount, isFound, isFound ? m_latch.nextSample() : 0};
    }
    const Sample sample = m_toPlay.front();
    m_toPlay.pop_front();
    return sample;
}

} // namespace Pelgra
