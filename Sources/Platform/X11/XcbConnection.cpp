#include "Platform/X11/XcbConnection.h"

#include "Platform/X11/XkbHeader.h"

#include <xcb/xfixes.h>
#include <xcb/xinput.h>

#include <utility>
#include <vector>

namespace Pelgra {

namespace {

xcb_screen_t* screenOf(xcb_connection_t* connection, int number)
{
    xcb_screen_iterator_t screens = xcb_setup_roots_iterator(xcb_get_setup(connection));
    for (; screens.rem > 0 && number > 0; --number)
        xcb_screen_next(&screens);
    return screens.rem > 0 ? screens.data : nullptr;
}

} // namespace

std::unique_ptr<XcbConnection> XcbConnection::open()
{
    int screenNumber = 0;
    xcb_connection_t* connection = xcb_connect(nullptr, &screenNumber);
    const bool isUsable = xcb_connection_has_error(connection) == 0 && screenOf(connection, screenNumber) != nullptr;
    if (!isUsable) {
        xcb_disconnect(connection);
        return nullptr;
    }
    return std::unique_ptr<XcbConnection>(new XcbConnection(connection, screenNumber));
}

XcbConnection::XcbConnection(xcb_connection_t* connection, int screenNumber)
    : m_connection(connection)
    , m_screenNumber(screenNumber)
    , m_root(screenOf(connection, screenNumber)->root)
{
    internAtoms();
    queryExtensions();
}

XcbConnection::~XcbConnection()
{
    xcb_disconnect(m_connection);
}

void XcbConnection::internAtoms()
{
    const std::string screen = std::to_string(m_screenNumber);
    const std::vector<std::pair<std::string, xcb_atom_t*>> wanted{
        {"XdndSelection", &m_atoms.xdndSelection},
        {"XdndAware", &m_atoms.xdndAware},
        {"XdndEnter", &m_atoms.xdndEnter},
        {"XdndPosition", &m_atoms.xdndPosition},
        {"XdndStatus", &m_atoms.xdndStatus},
        {"XdndLeave", &m_atoms.xdndLeave},
        {"XdndDrop", &m_atoms.xdndDrop},
        {"XdndFinished", &m_atoms.xdndFinished},
        {"XdndActionCopy", &m_atoms.xdndActionCopy},
        {"XdndActionMove", &m_atoms.xdndActionMove},
        {"TARGETS", &m_atoms.targets},
        {"INCR", &m_atoms.incremental},
        {"text/uri-list", &m_atoms.uriList},
        {"_PELGRA_TRANSFER", &m_atoms.transfer},
        {"_GTK_FRAME_EXTENTS", &m_atoms.frameExtents},
        {"_NET_WM_CM_S" + screen, &m_atoms.compositor},
        {"_NET_WM_STATE", &m_atoms.windowState},
        {"_NET_WM_STATE_SKIP_TASKBAR", &m_atoms.skipTaskbar},
        {"_NET_WM_STATE_SKIP_PAGER", &m_atoms.skipPager},
        {"_NET_SYSTEM_TRAY_S" + screen, &m_atoms.trayManager},
        {"_NET_SUPPORTING_WM_CHECK", &m_atoms.windowManager},
    };
    std::vector<xcb_intern_atom_cookie_t> cookies; // all asked first: one round trip instead of one for each
    for (const auto& [name, atom] : wanted)
        cookies.push_back(xcb_intern_atom(m_connection, 0, static_cast<std::uint16_t>(name.size()), name.data()));
    for (std::size_t i = 0; i < wanted.size(); ++i) {
        const XcbOwned<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(m_connection, cookies[i], nullptr));
        if (reply)
            *wanted[i].second = reply->atom;
    }
}

void XcbConnection::queryExtensions()
{
    if (const auto* fixes = xcb_get_extension_data(m_connection, &xcb_xfixes_id); fixes != nullptr && fixes->present) {
        const XcbOwned<xcb_xfixes_query_version_reply_t> version(
            xcb_xfixes_query_version_reply(m_connection, xcb_xfixes_query_version(m_connection, 1, 0), nullptr));
        m_extensions.hasFixes = version != nullptr;
        m_extensions.fixesFirstEvent = fixes->first_event;
    }
    if (const auto* keyboard = xcb_get_extension_data(m_connection, &xcb_xkb_id);
        keyboard != nullptr && keyboard->present) {
        const XcbOwned<xcb_xkb_use_extension_reply_t> use(
            xcb_xkb_use_extension_reply(m_connection, xcb_xkb_use_extension(m_connection, 1, 0), nullptr));
        m_extensions.hasKeyboard = use != nullptr && use->supported;
        m_extensions.keyboardFirstEvent = keyboard->first_event;
    }
    if (const auto* input = xcb_get_extension_data(m_connection, &xcb_input_id); input != nullptr && input->present) {
        // From version 2.2 on, raw events are also delivered while another client holds a grab.
        const XcbOwned<xcb_input_xi_query_version_reply_t> version(
            xcb_input_xi_query_version_reply(m_connection, xcb_input_xi_query_version(m_connection, 2, 2), nullptr));
        m_extensions.hasInput = version != nullptr
            && (version->major_version > 2 || (version->major_version == 2 && version->minor_version >= 2));
        m_extensions.inputOpcode = input->major_opcode;
    }
}

KeyboardMap XcbConnection::keyboardMap() const
{
    const xcb_setup_t* setup = xcb_get_setup(m_connection);
    const xcb_keycode_t first = setup->min_keycode;
    const auto count = static_cast<std::uint8_t>(setup->max_keycode - first + 1);
    const auto symbolsCookie = xcb_get_keyboard_mapping(m_connection, first, count);
    const auto modifiersCookie = xcb_get_modifier_mapping(m_connection);
    const XcbOwned<xcb_get_keyboard_mapping_reply_t> symbols(
        xcb_get_keyboard_mapping_reply(m_connection, symbolsCookie, nullptr));
    const XcbOwned<xcb_get_modifier_mapping_reply_t> modifiers(
        xcb_get_modifier_mapping_reply(m_connection, modifiersCookie, nullptr));
    KeyboardMap map;
    map.firstKeycode = first;
    if (symbols) {
        const xcb_keysym_t* begin = xcb_get_keyboard_mapping_keysyms(symbols.get());
        map.symbolsPerKeycode = symbols->keysyms_per_keycode;
        map.symbols.assign(begin, begin + xcb_get_keyboard_mapping_keysyms_length(symbols.get()));
    }
    if (modifiers) {
        const xcb_keycode_t* begin = xcb_get_modifier_mapping_keycodes(modifiers.get());
        map.keycodesPerModifier = modifiers->keycodes_per_modifier;
        map.modifierKeycodes.assign(begin, begin + xcb_get_modifier_mapping_keycodes_length(modifiers.get()));
    }
    return map;
}

void XcbConnection::watchRawKeys(std::uint32_t mask) const
{
    if (!m_extensions.hasInput)
        return;
    struct {
        xcb_input_event_mask_t head;
        std::uint32_t mask;
    } selection = {};
    selection.head.deviceid = XCB_INPUT_DEVICE_ALL_MASTER;
    selection.head.mask_len = 1;
    selection.mask = mask;
    xcb_input_xi_select_events(m_connection, m_root, 1, &selection.head);
}

xcb_window_t XcbConnection::selectionOwner(xcb_atom_t selection) const
{
    const XcbOwned<xcb_get_selection_owner_reply_t> reply(
        xcb_get_selection_owner_reply(m_connection, xcb_get_selection_owner(m_connection, selection), nullptr));
    return reply ? reply->owner : xcb_window_t{XCB_WINDOW_NONE};
}

xcb_window_t XcbConnection::windowManager() const
{
    const XcbOwned<xcb_get_property_reply_t> reply(xcb_get_property_reply(
        m_connection, xcb_get_property(m_connection, 0, m_root, m_atoms.windowManager, XCB_ATOM_WINDOW, 0, 1),
        nullptr));
    if (!reply || xcb_get_property_value_length(reply.get()) != int{sizeof(xcb_window_t)})
        return XCB_WINDOW_NONE;
    return *static_cast<const xcb_window_t*>(xcb_get_property_value(reply.get()));
}

bool XcbConnection::areOfOneClient(xcb_window_t window, xcb_window_t other) const
{
    const std::uint32_t ownPart = xcb_get_setup(m_connection)->resource_id_mask; // the same for all clients
    return (window & ~ownPart) == (other & ~ownPart);
}

bool XcbConnection::isWindowOf(xcb_window_t window, const xcb_setup_t* setup)
{
    return setup != nullptr && (window & ~setup->resource_id_mask) == setup->resource_id_base;
}

} // namespace Pelgra
