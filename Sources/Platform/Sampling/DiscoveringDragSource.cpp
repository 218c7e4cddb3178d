#include "Platform/Sampling/DiscoveringDragSource.h"

#include <utility>

namespace Pelgra {

DiscoveringDragSource::DiscoveringDragSource(DragSource& watched, DragCatcher& catcher, Clock clock)
    : m_watched(watched)
    , m_catcher(catcher)
    , m_clock(std::move(clock))
    , m_watchedCount(watched.changeCount())
{
    m_watched.onNews = [this] {
        if (onNews)
            onNews();
    };
    m_catcher.onEntered = [this](const std::vector<std::filesystem::path>& files, QPoint point) {
        m_files = files;
        m_pointer = point;
        m_discovery.dragEntered(!files.empty());
        m_isFound = m_discovery.wantsSurface();
        follow();
    };
    m_catcher.onMoved = [this](QPoint point) {
        m_pointer = point;
    };
    m_catcher.onLeft = [this] {
        ended(DragDiscovery::End::elsewhere);
    };
    m_catcher.onDropped = [this] {
        ended(DragDiscovery::End::over);
    };
    m_catcher.onPointer = [this](QPoint point) {
        m_pointer = point;
        m_discovery.pointerCame();
        follow();
    };
}

DiscoveringDragSource::~DiscoveringDragSource()
{
    m_watched.onNews = nullptr;
    m_catcher.onEntered = nullptr;
    m_catcher.onMoved = nullptr;
    m_catcher.onLeft = nullptr;
    m_catcher.onDropped = nullptr;
    m_catcher.onPointer = nullptr;
}

void DiscoveringDragSource::refresh()
{
    m_watched.setTapFlags(m_tapFlags);
    m_watched.refresh();
    const DragDiscovery::Time now = m_clock();
    const std::int64_t count = m_watched.changeCount();
    if (std::exchange(m_watchedCount, count) != count) {
        m_isSignUntold = true;
        if (m_watched.isWithinReach())
            m_discovery.dragMayHaveBegun(now);
        else
            m_discovery.dragOutOfReachBegan();
    }
    tellOfSign();
    const ModifierFlags flags = m_watched.modifierFlags();
    const ModifierFlags pressed = flags & ~std::exchange(m_watchedFlags, flags) & m_tapFlags;
    m_discovery.pressed(pressed, now);
    if (pressed != 0 && m_discovery.wantsSurface() && onPressed)
        onPressed(pressed);
    m_sample = m_discovery.nextSample();
    const bool wasSpread = std::exchange(m_isSpread, m_discovery.wantsSurface());
    if (m_isSpread && !wasSpread)
        m_catcher.spread();
    else if (wasSpread && !m_isSpread)
        m_catcher.fold();
    if (wasSpread && !m_isSpread && !std::exchange(m_isFound, false) && onNothingFound)
        onNothingFound();
}

void DiscoveringDragSource::tellOfSign()
{
    if (!m_isSignUntold)
        return;
    DragSign sign{m_watched.isWithinReach(), std::nullopt};
    if (sign.isWithinReach && m_watched.tellsFiles()) {
        sign.files = m_watched.fileURLs();
        if (sign.files->empty())
            return; // they may become known a little later
    }
    m_isSignUntold = false;
    if (onSign)
        onSign(sign);
}

/// What was found, or has ended, is told at once: the next sample of the clock may be thirty milliseconds off.
void DiscoveringDragSource::follow()
{
    do {
        if (onNews)
            onNews();
        else
            refresh();
    } while (m_discovery.hasNews());
}

void DiscoveringDragSource::ended(DragDiscovery::End end)
{
    m_discovery.dragEnded(end);
    follow();
}

} // namespace Pelgra
