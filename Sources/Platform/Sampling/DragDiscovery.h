#pragma once

#include "Platform/ModifierFlags.h"
#include "Platform/Sampling/PressLatch.h"

#include <chrono>
#include <cstdint>
#include <deque>
#include <optional>

namespace Pelgra {

/// The rules by which a drag is found where the desktop shows neither its files nor its pointer, button and end: at a
/// tap, a surface that nobody sees is spread over the screen, and a drag that is under way comes over it. A plain
/// value; times are of any clock that never goes back.
class DragDiscovery {
public:
    using Time = std::chrono::milliseconds;

    /// A tap counts for so long after the latest sign of a drag, since the end of one that ends elsewhere is not seen.
    static constexpr Time expiry = std::chrono::seconds(60);
    /// For so long the surface may stand in the way when no drag comes.
    static constexpr Time patience = std::chrono::milliseconds(400);

    struct Sample {
        std::int64_t changeCount = 0;
        bool isButtonDown = false;
        ModifierFlags flags = 0;
        bool operator==(const Sample&) const = default;
    };

    enum class End {
        over, ///< there is no drag any more
        elsewhere, ///< it may go on beyond our surface
    };

    /// A sign that somebody has begun to drag something.
    void dragMayHaveBegun(Time now) { m_mayBeUntil = now + expiry; }

    /// A sign that somebody drags something that cannot come over our surface, which had better stay away.
    void dragOutOfReachBegan() { dragEnded(End::over); }

    /// Keys that open a wheel went down.
    void pressed(ModifierFlags flags, Time now);

    /// The drag came over the surface.
    void dragEntered(bool hasFiles);

    /// It was dropped, cancelled, or has gone.
    void dragEnded(End end);

    /// The pointer came over the surface with no drag.
    void pointerCame() { dragEnded(End::over); }

    void timePassed(Time now);

    /// Whether the surface is to be there.
    bool wantsSurface() const { return m_state != State::idle; }

    /// What the desktop would have shown, one sample a call.
    Sample nextSample();

    /// Whether samples wait that tell of something: take them at once.
    bool hasNews() const { return !m_toPlay.empty(); }

private:
    enum class State {
        idle,
        looking, ///< the surface is there, no drag has come yet
        found,
    };

    State m_state = State::idle;
    std::optional<Time> m_mayBeUntil;
    Time m_lookingSince{};
    ModifierFlags m_tap = 0; ///< what was pressed to look for the drag
    std::int64_t m_changeCount = 0;
    std::deque<Sample> m_toPlay;
    PressLatch m_latch;
};

} // namespace Pelgra
