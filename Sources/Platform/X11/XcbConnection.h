#pragma once

#include "Platform/X11/ModifierMap.h"

#include <xcb/xcb.h>

#include <cstdlib>
#include <memory>
#include <string>

namespace Pelgra {

struct FreeDeleter {
    void operator()(void* memory) const { std::free(memory); }
};

/// A reply or an event: the library allocates it, the receiver frees it.
template <typename Type>
using XcbOwned = std::unique_ptr<Type, FreeDeleter>;

/// The names that this program exchanges with the server and other clients.
struct XcbAtoms {
    xcb_atom_t xdndSelection = XCB_ATOM_NONE;
    xcb_atom_t xdndAware = XCB_ATOM_NONE;
    xcb_atom_t xdndEnter = XCB_ATOM_NONE;
    xcb_atom_t xdndPosition = XCB_ATOM_NONE;
    xcb_atom_t xdndStatus = XCB_ATOM_NONE;
    xcb_atom_t xdndLeave = XCB_ATOM_NONE;
    xcb_atom_t xdndDrop = XCB_ATOM_NONE;
    xcb_atom_t xdndFinished = XCB_ATOM_NONE;
    xcb_atom_t xdndActionCopy = XCB_ATOM_NONE;
    xcb_atom_t xdndActionMove = XCB_ATOM_NONE;
    xcb_atom_t targets = XCB_ATOM_NONE;
    xcb_atom_t incremental = XCB_ATOM_NONE;
    xcb_atom_t uriList = XCB_ATOM_NONE;
    xcb_atom_t transfer = XCB_ATOM_NONE; ///< the property of our own windows that receives data
    xcb_atom_t frameExtents = XCB_ATOM_NONE; ///< how far a window's own shadow reaches beyond its edges
    xcb_atom_t compositor = XCB_ATOM_NONE; ///< the selection that a compositing manager of our screen owns
    xcb_atom_t windowState = XCB_ATOM_NONE; ///< the property that tells window managers the state of a window
    xcb_atom_t skipTaskbar = XCB_ATOM_NONE;
    xcb_atom_t skipPager = XCB_ATOM_NONE;
    xcb_atom_t trayManager = XCB_ATOM_NONE; ///< the selection that a tray of our screen owns
    xcb_atom_t windowManager = XCB_ATOM_NONE; ///< the root's property that names a window of the window manager
};

/// The base event numbers and opcodes of the extensions in use; absent ones have present false.
struct XcbExtensions {
    bool hasFixes = false;
    std::uint8_t fixesFirstEvent = 0;
    bool hasKeyboard = false;
    std::uint8_t keyboardFirstEvent = 0;
    bool hasInput = false;
    std::uint8_t inputOpcode = 0;
};

/// A connection to the X server beside Qt's, so that what arrives on it is ours alone and nobody else waits on it.
/// Waits at most for the server, never for another client. Main thread.
class XcbConnection {
public:
    /// Null when no server can be reached.
    static std::unique_ptr<XcbConnection> open();

    XcbConnection(const XcbConnection&) = delete;
    XcbConnection& operator=(const XcbConnection&) = delete;
    ~XcbConnection();

    xcb_connection_t* get() const { return m_connection; }
    xcb_window_t root() const { return m_root; }
    int screenNumber() const { return m_screenNumber; }
    const XcbAtoms& atoms() const { return m_atoms; }
    const XcbExtensions& extensions() const { return m_extensions; }

    /// Sends what is waiting to be sent.
    void flush() const { xcb_flush(m_connection); }

    /// The keyboard as it is now.
    KeyboardMap keyboardMap() const;

    /// Asks to be told of keys wherever the focus is, by XCB_INPUT_XI_EVENT_MASK_RAW_KEY_PRESS and ..._RELEASE; 0 for
    /// no longer. Nothing happens without the extension.
    void watchRawKeys(std::uint32_t mask) const;

    xcb_window_t selectionOwner(xcb_atom_t selection) const;

    /// A window of the window manager's own, or none.
    xcb_window_t windowManager() const;

    bool areOfOneClient(xcb_window_t window, xcb_window_t other) const;

    /// Whether the window was created by the client whose connection has this setup.
    static bool isWindowOf(xcb_window_t window, const xcb_setup_t* setup);

private:
    XcbConnection(xcb_connection_t* connection, int screenNumber);
    void internAtoms();
    void queryExtensions();

    xcb_connection_t* m_connection;
    int m_screenNumber;
    xcb_window_t m_root = XCB_WINDOW_NONE;
    XcbAtoms m_atoms;
    XcbExtensions m_extensions;
};

} // namespace Pelgra
