#include "Platform/X11/SelectionRequest.h"

namespace Pelgra {

namespace {

/// The most a hostile source can make us hold: far above any list of files, far below what would hurt.
constexpr std::size_t greatestSize = std::size_t{64} << 20;

constexpr std::uint8_t sentEventBit = 0x80;

} // namespace

SelectionRequest::SelectionRequest(XcbConnection& connection, xcb_atom_t selection, xcb_atom_t target,
                                   xcb_timestamp_t time, xcb_window_t parent)
    : m_connection(connection)
    , m_window(xcb_generate_id(connection.get()))
{
    const std::uint32_t events = XCB_EVENT_MASK_PROPERTY_CHANGE;
    xcb_create_window(connection.get(), 0, m_window, parent, -1, -1, 1, 1, 0, XCB_WINDOW_CLASS_INPUT_ONLY,
                      XCB_COPY_FROM_PARENT, XCB_CW_EVENT_MASK, &events);
    xcb_convert_selection(connection.get(), m_window, selection, target, connection.atoms().transfer, time);
    connection.flush();
}

SelectionRequest::~SelectionRequest()
{
    xcb_destroy_window(m_connection.get(), m_window);
    m_connection.flush();
}

void SelectionRequest::handle(const xcb_generic_event_t& event)
{
    if (m_state != State::waiting)
        return;
    const unsigned type = event.response_type & ~unsigned{sentEventBit};
    if (type == XCB_SELECTION_NOTIFY) {
        const auto& answer = reinterpret_cast<const xcb_selection_notify_event_t&>(event);
        if (answer.requestor == m_window)
            receiveAnswer(answer);
    } else if (type == XCB_PROPERTY_NOTIFY && m_inPieces) {
        const auto& change = reinterpret_cast<const xcb_property_notify_event_t&>(event);
        if (change.window == m_window && change.atom == m_connection.atoms().transfer
            && change.state == XCB_PROPERTY_NEW_VALUE)
            receivePiece();
    }
}

void SelectionRequest::receiveAnswer(const xcb_selection_notify_event_t& event)
{
    if (event.property == XCB_ATOM_NONE)
        m_state = State::refused;
    else
        receivePiece();
}

void SelectionRequest::receivePiece()
{
    const std::uint32_t everything = greatestSize / 4; // counted in units of four bytes
    const XcbOwned<xcb_get_property_reply_t> reply(
        xcb_get_property_reply(m_connection.get(),
                               xcb_get_property(m_connection.get(), 1, m_window, m_connection.atoms().transfer,
                                                XCB_GET_PROPERTY_TYPE_ANY, 0, everything),
                               nullptr));
    if (!reply || reply->bytes_after > 0) {
        m_state = State::refused;
        return;
    }
    if (!m_inPieces && reply->type == m_connection.atoms().incremental) {
        m_inPieces = true; // reading has deleted the property, which asks for the first piece
        return;
    }
    const auto length = static_cast<std::size_t>(xcb_get_property_value_length(reply.get()));
    if (m_data.size() + length > greatestSize) {
        m_state = State::refused;
        return;
    }
    m_data.append(static_cast<const char*>(xcb_get_property_value(reply.get())), length);
    if (!m_inPieces || length == 0)
        m_state = State::granted;
}

std::chrono::milliseconds SelectionRequest::age() const
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - m_begin);
}

} // namespace Pelgra
