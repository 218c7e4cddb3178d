#pragma once

#include "Platform/ModifierFlags.h"

namespace Pelgra {

/// Turns presses that are reported when they happen into flags that are asked for now and then: each press shows in
/// exactly one sample, and two presses of a key never in two samples that touch, where they would look like one.
class PressLatch {
public:
    void press(ModifierFlags flags) { m_waiting |= flags; }

    ModifierFlags nextSample()
    {
        m_shown = m_waiting & ~m_shown;
        m_waiting &= ~m_shown;
        return m_shown;
    }

private:
    ModifierFlags m_waiting = 0;
    ModifierFlags m_shown = 0; ///< in the sample before
};

} // namespace Pelgra
