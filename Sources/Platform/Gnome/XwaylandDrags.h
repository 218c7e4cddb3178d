#pragma once

#include "Platform/DragSource.h"
#include "Platform/X11/DraggedFilesReader.h"
#include "Platform/X11/XcbConnection.h"

#include <QObject>
#include <QSocketNotifier>

#include <chrono>
#include <functional>
#include <memory>

namespace Pelgra {

/// What mutter's X server tells of drags of native programs: that one has begun, since a window of the compositor's own
/// takes the XDND selection for it, and the files, which that window answers for. Pointer, keys, button and the end
/// stay unseen; the selection keeps its owner, so its events are counted and the owners never compared.
class XwaylandDrags final : public QObject, public DragSource {
    Q_OBJECT

public:
    /// Null where there is no such server, or it reports no selections.
    static std::unique_ptr<XwaylandDrags> create();

    void refresh() override;
    std::int64_t changeCount() const override { return m_changeCount; }
    ButtonState primaryButton() const override { return ButtonState::unseen; }
    ModifierFlags modifierFlags() const override { return 0; }
    std::vector<std::filesystem::path> fileURLs() override { return m_reader.files(); }
    std::optional<QPoint> pointer() const override { return std::nullopt; }

    /// Whether this window belongs to the compositor.
    bool isOfCompositor(xcb_window_t window) const;

    XcbConnection& connection() { return *m_connection; }

    /// False while somebody else sees such drags whole.
    std::function<bool()> isNeeded;

private:
    explicit XwaylandDrags(std::unique_ptr<XcbConnection> connection);
    void drain();
    void handle(const xcb_generic_event_t& event);

    std::unique_ptr<XcbConnection> m_connection;
    QSocketNotifier m_notifier;
    DraggedFilesReader m_reader;
    xcb_window_t m_compositor = XCB_WINDOW_NONE; ///< a window of it
    std::int64_t m_changeCount = 0;
    std::chrono::steady_clock::time_point m_begun;
    bool m_isReading = false;
    bool m_hasNews = false;
};

} // namespace Pelgra
