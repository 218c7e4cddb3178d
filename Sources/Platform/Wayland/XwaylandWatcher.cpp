#include "Platform/Wayland/XwaylandWatcher.h"

#include "Platform/Sampling/DragDiscovery.h"
#include "Support/Logging.h"

#include <QTimer>

#include <xcb/xfixes.h>
#include <xcb/xinput.h>

#include <array>
#include <utility>

namespace Pelgra {

namespace {

constexpr std::uint8_t eventTypeMask = 0x7f;

constexpr int focusMilliseconds = 100;

} // namespace

std::unique_ptr<XwaylandWatcher> XwaylandWatcher::create()
{
    if (qEnvironmentVariableIsEmpty("DISPLAY"))
        return nullptr;
    std::unique_ptr<XcbConnection> connection = XcbConnection::open();
    if (!connection || !connection->extensions().hasFixes)
        return nullptr;
    return std::unique_ptr<XwaylandWatcher>(new XwaylandWatcher(std::move(connection)));
}

XwaylandWatcher::XwaylandWatcher(std::unique_ptr<XcbConnection> connection)
    : m_connection(std::move(connection))
    , m_notifier(xcb_get_file_descriptor(m_connection->get()), QSocketNotifier::Read)
{
    xcb_xfixes_select_selection_input(m_connection->get(), m_connection->root(), m_connection->atoms().xdndSelection,
                                      XCB_XFIXES_SELECTION_EVENT_MASK_SET_SELECTION_OWNER);
    m_connection->flush();
    connect(&m_notifier, &QSocketNotifier::activated, this, [this] {
        drain();
        if (std::exchange(m_hasNews, false) && onNews)
            onNews();
    });
}

void XwaylandWatcher::takeFocusOnce()
{
    xcb_connection_t* const connection = m_connection->get();
    const xcb_window_t window = xcb_generate_id(connection);
    // Unmanaged, so that no tile is made for it, and beside the screen.
    const std::array<std::uint32_t, 2> values{0, 1};
    xcb_create_window(connection, XCB_COPY_FROM_PARENT, window, m_connection->root(), -1, -1, 1, 1, 0,
                      XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT, XCB_CW_BACK_PIXEL | XCB_CW_OVERRIDE_REDIRECT,
                      values.data());
    xcb_map_window(connection, window);
    m_connection->flush();
    QTimer::singleShot(focusMilliseconds, this, [this, window] {
        xcb_destroy_window(m_connection->get(), window); // the focus goes back to where it was
        m_connection->flush();
    });
}

void XwaylandWatcher::refresh()
{
    if (std::exchange(m_needsFocus, false))
        takeFocusOnce();
    m_flags = m_held | std::exchange(m_pressedSinceSample, 0);
    if (m_watchesKeys && std::chrono::steady_clock::now() - m_latestDrag > DragDiscovery::expiry)
        watchKeys(false);
}

ModifierFlags XwaylandWatcher::modifierFlagsNow()
{
    const XcbOwned<xcb_query_pointer_reply_t> pointer(xcb_query_pointer_reply(
        m_connection->get(), xcb_query_pointer(m_connection->get(), m_connection->root()), nullptr));
    return pointer ? ModifierMap(m_connection->keyboardMap()).flagsOf(pointer->mask) : 0;
}

void XwaylandWatcher::drain()
{
    while (const XcbOwned<xcb_generic_event_t> event{xcb_poll_for_event(m_connection->get())})
        handle(*event);
    if (xcb_connection_has_error(m_connection->get()) != 0) {
        // Compositors stop a server that nobody uses, and start it again for whoever comes; ours is gone.
        m_notifier.setEnabled(false);
        qCWarning(dragLog, "The X server has gone; drags are no longer seen");
    }
}

void XwaylandWatcher::handle(const xcb_generic_event_t& event)
{
    const XcbExtensions& extensions = m_connection->extensions();
    const unsigned type = event.response_type & eventTypeMask;
    if (type == extensions.fixesFirstEvent + unsigned{XCB_XFIXES_SELECTION_NOTIFY}) {
        const auto& change = reinterpret_cast<const xcb_xfixes_selection_notify_event_t&>(event);
        if (change.owner != XCB_WINDOW_NONE)
            dragBegan(change.owner);
    } else if (extensions.hasInput && type == XCB_GE_GENERIC) {
        handleKey(event);
    }
}

/// The compositor is the window manager there, and offers the drags of native programs itself.
bool XwaylandWatcher::isOfCompositor(xcb_window_t window) const
{
    const xcb_window_t manager = m_connection->windowManager();
    return manager == XCB_WINDOW_NONE /* nobody can tell */ || m_connection->areOfOneClient(window, manager);
}

void XwaylandWatcher::dragBegan(xcb_window_t owner)
{
    m_isNative = isOfCompositor(owner);
    ++m_changeCount;
    m_latestDrag = std::chrono::steady_clock::now();
    m_hasNews = true;
    m_held = 0;
    m_modifierMap = ModifierMap(m_connection->keyboardMap());
    qCDebug(dragLog, "Drag %lld may have begun%s", static_cast<long long>(m_changeCount),
            m_isNative ? "" : " in an X11 program");
    if (!m_watchesKeys)
        watchKeys(true);
}

void XwaylandWatcher::watchKeys(bool watch)
{
    m_watchesKeys = watch;
    if (!canSeeKeys())
        return;
    constexpr unsigned keys{XCB_INPUT_XI_EVENT_MASK_RAW_KEY_PRESS | XCB_INPUT_XI_EVENT_MASK_RAW_KEY_RELEASE};
    m_connection->watchRawKeys(watch ? keys : 0U);
    m_connection->flush();
}

void XwaylandWatcher::handleKey(const xcb_generic_event_t& event)
{
    const auto& generic = reinterpret_cast<const xcb_ge_generic_event_t&>(event);
    const bool isPress = generic.event_type == XCB_INPUT_RAW_KEY_PRESS;
    if (generic.extension != m_connection->extensions().inputOpcode
        || (!isPress && generic.event_type != XCB_INPUT_RAW_KEY_RELEASE))
        return;
    const auto& key = reinterpret_cast<const xcb_input_raw_key_press_event_t&>(event);
    const ModifierFlags flags = m_modifierMap.flagsOfKey(static_cast<std::uint8_t>(key.detail));
    if (!isPress) {
        m_held &= ~flags;
        return;
    }
    m_held |= flags;
    m_pressedSinceSample |= flags;
    m_hasNews = m_hasNews || (flags & m_tapFlags) != 0;
}

} // namespace Pelgra
