#pragma once

#include "Platform/DragSource.h"
#include "Platform/X11/ModifierMap.h"
#include "Platform/X11/XcbConnection.h"

#include <QObject>
#include <QSocketNotifier>

#include <chrono>
#include <memory>

namespace Pelgra {

/// What the X server inside a Wayland compositor tells about drags of native programs: that one has begun, since the
/// compositor offers it to X11 programs as well, and, on KWin, which modifiers go down and up. Files, pointer and
/// button stay unseen, and so does the end: the selection keeps its owner, so its events are counted and the owners
/// never compared. Drags of X11 programs are seen to begin as well, but no Wayland surface catches them.
class XwaylandWatcher final : public QObject, public DragSource {
    Q_OBJECT

public:
    /// Null where there is no such server, or it reports no selections.
    static std::unique_ptr<XwaylandWatcher> create();

    void refresh() override;
    std::int64_t changeCount() const override { return m_changeCount; }
    bool isWithinReach() const override { return m_isNative; }
    ButtonState primaryButton() const override { return ButtonState::unseen; }
    ModifierFlags modifierFlags() const override { return m_flags; }
    ModifierFlags modifierFlagsNow() override;
    std::vector<std::filesystem::path> fileURLs() override { return {}; }
    bool tellsFiles() const override { return false; }
    std::optional<QPoint> pointer() const override { return std::nullopt; }
    void setTapFlags(ModifierFlags flags) override { m_tapFlags = flags; }

    /// To be told before the first sample: some compositors tell X11 programs of drags only once one of them had the
    /// focus, so an unseen window takes it for a moment.
    void setNeedsFocus(bool needs) { m_needsFocus = needs; }

    /// Whether the server tells of keys.
    bool canSeeKeys() const { return m_connection->extensions().hasInput; }

private:
    explicit XwaylandWatcher(std::unique_ptr<XcbConnection> connection);
    void takeFocusOnce();
    void drain();
    void handle(const xcb_generic_event_t& event);
    void handleKey(const xcb_generic_event_t& event);
    bool isOfCompositor(xcb_window_t window) const;
    void dragBegan(xcb_window_t owner);
    void watchKeys(bool watch);

    std::unique_ptr<XcbConnection> m_connection;
    QSocketNotifier m_notifier;
    ModifierMap m_modifierMap;
    std::int64_t m_changeCount = 0;
    ModifierFlags m_tapFlags = 0;
    ModifierFlags m_flags = 0; ///< of the latest sample
    ModifierFlags m_held = 0;
    ModifierFlags m_pressedSinceSample = 0;
    std::chrono::steady_clock::time_point m_latestDrag;
    bool m_watchesKeys = false;
    bool m_isNative = true; ///< the latest drag
    bool m_hasNews = false;
    bool m_needsFocus = false;
};

} // namespace Pelgra
