#pragma once

#include "Platform/X11/XcbConnection.h"

#include <chrono>
#include <string>

namespace Pelgra {

/// One conversion of a selection into one form, answered by its owner whenever it likes. Nothing here waits; feed every
/// event of the connection to handle(). Large answers arrive in pieces (the INCR rules of ICCCM 2.7.2).
class SelectionRequest {
public:
    enum class State { waiting, granted, refused };

    /// Asks the owner of `selection` for `target`. The answer goes to a new window inside `parent`, which may belong to
    /// another client.
    SelectionRequest(XcbConnection& connection, xcb_atom_t selection, xcb_atom_t target, xcb_timestamp_t time,
                     xcb_window_t parent);
    SelectionRequest(const SelectionRequest&) = delete;
    SelectionRequest& operator=(const SelectionRequest&) = delete;
    ~SelectionRequest();

    void handle(const xcb_generic_event_t& event);

    State state() const { return m_state; }

    /// The bytes, once granted.
    const std::string& data() const { return m_data; }

    std::chrono::milliseconds age() const;

private:
    void receiveAnswer(const xcb_selection_notify_event_t& event);
    void receivePiece();

    XcbConnection& m_connection;
    xcb_window_t m_window;
    State m_state = State::waiting;
    bool m_inPieces = false;
    std::string m_data;
    std::chrono::steady_clock::time_point m_begin = std::chrono::steady_clock::now();
};

} // namespace Pelgra
