#include "Platform/X11/XdndReceiver.h"

#include "Platform/UriList.h"
#include "Support/Logging.h"

#include <utility>

namespace Pelgra {

namespace {

using namespace std::chrono_literals;

/// A source that has not handed over the files by then is hung. If it named files during the drag those are used, and
/// much sooner, since the user is waiting; otherwise it is told that the drop failed.
constexpr auto longestWait = 10s;
constexpr auto longestWaitWithFiles = 2s;

constexpr std::uint32_t acceptFlag = 1;
constexpr std::uint32_t wantsEveryPositionFlag = 2;

} // namespace

XdndReceiver::XdndReceiver(XcbConnection& connection, xcb_window_t window, DropTarget& target,
                           Surroundings surroundings)
    : m_connection(connection)
    , m_window(window)
    , m_target(target)
    , m_surroundings(std::move(surroundings))
{
}

bool XdndReceiver::handleMessage(const xcb_client_message_event_t& message)
{
    const XcbAtoms& atoms = m_connection.atoms();
    if (message.window != m_window || message.format != 32)
        return false;
    if (message.type == atoms.xdndEnter)
        enter(message);
    else if (message.type == atoms.xdndPosition)
        move(message);
    else if (message.type == atoms.xdndLeave)
        leave(message);
    else if (message.type == atoms.xdndDrop)
        drop(message);
    else
        return false;
    return true;
}

void XdndReceiver::enter(const xcb_client_message_event_t& message)
{
    m_source = message.data.data32[0];
    m_isAccepted = false;
    if (m_surroundings.entered)
        m_surroundings.entered();
}

void XdndReceiver::move(const xcb_client_message_event_t& message)
{
    m_source = message.data.data32[0];
    const std::uint32_t position = message.data.data32[2];
    const bool welcome = m_surroundings.acceptsDrops();
    if (welcome)
        m_point = m_surroundings.viewPointAt(static_cast<int>(position >> 16), static_cast<int>(position & 0xffff));
    const bool wasAccepted = std::exchange(m_isAccepted, welcome && m_target.dragMoved(m_point));
    if (m_isAccepted != wasAccepted)
        qCDebug(dragLog, "The drag is %s here", m_isAccepted ? "accepted" : "not accepted");
    const std::uint32_t flags = wantsEveryPositionFlag | (m_isAccepted ? acceptFlag : 0U);
    if (m_surroundings.suggested)
        m_surroundings.suggested(message.data.data32[4] == m_connection.atoms().xdndActionMove);
    send(m_source, m_connection.atoms().xdndStatus, flags, 0, 0,
         m_isAccepted ? m_connection.atoms().xdndActionCopy : xcb_atom_t{XCB_ATOM_NONE});
}

void XdndReceiver::leave(const xcb_client_message_event_t& message)
{
    if (message.data.data32[0] != m_source)
        return;
    m_source = XCB_WINDOW_NONE;
    m_isAccepted = false;
    m_target.dragLeft();
}

void XdndReceiver::drop(const xcb_client_message_event_t& message)
{
    const xcb_window_t source = message.data.data32[0];
    if (m_drop)
        finishDrop({}); // the previous drag, whose source does not answer
    const bool accepts = std::exchange(m_isAccepted, false) && source == m_source && m_surroundings.acceptsDrops();
    DropTarget::Drop action = accepts ? m_target.dropAt(m_point) : nullptr;
    m_source = XCB_WINDOW_NONE;
    if (!action) {
        sendFinished(source, false);
        m_target.dragEnded(false);
        return;
    }
    m_drop = PendingDrop{source,
                         std::move(action),
                         m_surroundings.files(),
                         m_surroundings.changeCount(),
                         false,
                         request(message.data.data32[2])};
}

std::unique_ptr<SelectionRequest> XdndReceiver::request(xcb_timestamp_t time)
{
    return std::make_unique<SelectionRequest>(m_connection, m_connection.atoms().xdndSelection,
                                              m_connection.atoms().uriList, time, m_connection.root());
}

void XdndReceiver::handle(const xcb_generic_event_t& event)
{
    if (!m_drop)
        return;
    if (m_drop->changeCount != m_surroundings.changeCount()) {
        // Another drag has begun, so the source no longer has what it would answer with, and the wheel will show other
        // petals.
        finishDrop({});
        return;
    }
    m_drop->request->handle(event);
    switch (m_drop->request->state()) {
    case SelectionRequest::State::waiting:
        return;
    case SelectionRequest::State::granted:
        finishDrop(m_drop->request->data());
        return;
    case SelectionRequest::State::refused:
        // Some versions of GTK put a meaningless time into the message.
        if (!std::exchange(m_drop->isSecondTry, true))
            m_drop->request = request(XCB_CURRENT_TIME);
        else
            finishDrop({});
        return;
    }
}

void XdndReceiver::proceed()
{
    if (m_drop && m_drop->request->age() > (m_drop->knownFiles.empty() ? longestWait : longestWaitWithFiles))
        finishDrop({});
}

void XdndReceiver::finishDrop(const std::string& uriList)
{
    const PendingDrop pending = std::move(*m_drop);
    m_drop.reset();
    std::vector<std::filesystem::path> files = filesOfUriList(uriList);
    if (files.empty() && !pending.knownFiles.empty()) {
        qCInfo(dragLog, "The source did not answer the drop; the files of its drag are taken");
        files = pending.knownFiles;
    }
    sendFinished(pending.source, pending.drop(files));
    m_target.dragEnded(false);
}

void XdndReceiver::cancel()
{
    m_isAccepted = false;
    m_target.dragEnded(true);
}

void XdndReceiver::sendFinished(xcb_window_t source, bool accepted)
{
    const xcb_atom_t action = accepted ? m_connection.atoms().xdndActionCopy : xcb_atom_t{XCB_ATOM_NONE};
    send(source, m_connection.atoms().xdndFinished, accepted ? acceptFlag : 0U, action, 0, XCB_ATOM_NONE);
}

void XdndReceiver::send(xcb_window_t source, xcb_atom_t type, std::uint32_t flags, std::uint32_t rectanglePosition,
                        std::uint32_t rectangleSize, xcb_atom_t action)
{
    xcb_client_message_event_t message = {};
    message.response_type = XCB_CLIENT_MESSAGE;
    message.format = 32;
    message.window = source;
    message.type = type;
    message.data.data32[0] = m_window;
    message.data.data32[1] = flags;
    message.data.data32[2] = rectanglePosition;
    message.data.data32[3] = rectangleSize;
    message.data.data32[4] = action;
    xcb_send_event(m_connection.get(), 0, source, XCB_EVENT_MASK_NO_EVENT, reinterpret_cast<const char*>(&message));
    m_connection.flush();
}

} // namespace Pelgra
