#pragma once

#include "Platform/WheelSurface.h"
#include "Platform/X11/SelectionRequest.h"

#include <QPointF>

#include <functional>
#include <memory>
#include <optional>

namespace Pelgra {

/// The receiving end of the XDND protocol (version 5) for one window. Always answers "copy": the protocol allows it
/// whatever the source suggests, and with any other answer some sources delete the files afterwards. Never waits for
/// the source.
class XdndReceiver {
public:
    /// What the surface knows and the protocol does not.
    struct Surroundings {
        std::function<bool()> acceptsDrops; ///< false refuses everything for now
        std::function<std::int64_t()> changeCount; ///< which drag this is
        std::function<QPointF(int, int)> viewPointAt; ///< from device pixels of the root window
        std::function<std::vector<std::filesystem::path>()> files; ///< of the drag, as far as they are known
        std::function<void()> entered; ///< the drag came over the window; may be null
        std::function<void(bool)> suggested; ///< with each position: whether the source suggests to move; may be null
    };

    XdndReceiver(XcbConnection& connection, xcb_window_t window, DropTarget& target, Surroundings surroundings);

    /// A message to the window. False when it does not belong to the protocol.
    bool handleMessage(const xcb_client_message_event_t& message);

    /// An event of the connection; answers to the drop are among them.
    void handle(const xcb_generic_event_t& event);

    /// Call regularly: stops waiting for a source that does not answer a drop.
    void proceed();

    /// The user cancelled the drag with the button down.
    void cancel();

private:
    /// A drop whose files are being read.
    struct PendingDrop {
        xcb_window_t source;
        DropTarget::Drop drop;
        std::vector<std::filesystem::path> knownFiles; ///< from the time of the drag
        std::int64_t changeCount;
        bool isSecondTry;
        std::unique_ptr<SelectionRequest> request;
    };

    void enter(const xcb_client_message_event_t& message);
    void move(const xcb_client_message_event_t& message);
    void leave(const xcb_client_message_event_t& message);
    void drop(const xcb_client_message_event_t& message);
    void finishDrop(const std::string& uriList);
    void sendFinished(xcb_window_t source, bool accepted);
    void send(xcb_window_t source, xcb_atom_t type, std::uint32_t flags, std::uint32_t rectanglePosition,
              std::uint32_t rectangleSize, xcb_atom_t action);
    std::unique_ptr<SelectionRequest> request(xcb_timestamp_t time);

    XcbConnection& m_connection;
    xcb_window_t m_window;
    DropTarget& m_target;
    Surroundings m_surroundings;
    xcb_window_t m_source = XCB_WINDOW_NONE;
    QPointF m_point;
    bool m_isAccepted = false; ///< the answer to the latest position
    std::optional<PendingDrop> m_drop;
};

} // namespace Pelgra
