#include "Platform/Gnome/XwaylandDrags.h"

#include "Support/Logging.h"

#include <xcb/xfixes.h>

#include <string_view>
#include <utility>

namespace Pelgra {

namespace {

using namespace std::chrono_literals;

constexpr std::uint8_t eventTypeMask = 0x7f;

/// For so long the files are asked for: the end of the drag is not seen.
constexpr auto longestReading = 3s;

} // namespace

std::unique_ptr<XwaylandDrags> XwaylandDrags::create()
{
    std::unique_ptr<XcbConnection> connection = XcbConnection::open();
    if (!connection || !connection->extensions().hasFixes)
        return nullptr;
    return std::unique_ptr<XwaylandDrags>(new XwaylandDrags(std::move(connection)));
}

XwaylandDrags::XwaylandDrags(std::unique_ptr<XcbConnection> connection)
    : isNeeded([] { return true; })
    , m_connection(std::move(connection))
    , m_notifier(xcb_get_file_descriptor(m_connection->get()), QSocketNotifier::Read)
    , m_reader(*m_connection)
{
    m_compositor = m_connection->windowManager();
    xcb_xfixes_select_selection_input(m_connection->get(), m_connection->root(), m_connection->atoms().xdndSelection,
                                      XCB_XFIXES_SELECTION_EVENT_MASK_SET_SELECTION_OWNER);
    m_connection->flush();
    connect(&m_notifier, &QSocketNotifier::activated, this, [this] {
        drain();
        if (std::exchange(m_hasNews, false) && onNews)
            onNews();
    });
}

bool XwaylandDrags::isOfCompositor(xcb_window_t window) const
{
    return m_compositor != XCB_WINDOW_NONE && m_connection->areOfOneClient(window, m_compositor);
}

void XwaylandDrags::refresh()
{
    if (m_isReading && std::chrono::steady_clock::now() - m_begun < longestReading)
        m_reader.proceed();
    else
        m_isReading = false;
}

void XwaylandDrags::drain()
{
    while (const XcbOwned<xcb_generic_event_t> event{xcb_poll_for_event(m_connection->get())})
        handle(*event);
    if (xcb_connection_has_error(m_connection->get()) != 0)
        m_notifier.setEnabled(false); // the server has gone; Qt ends the process
}

void XwaylandDrags::handle(const xcb_generic_event_t& event)
{
    const unsigned type = event.response_type & eventTypeMask;
    if (type != m_connection->extensions().fixesFirstEvent + unsigned{XCB_XFIXES_SELECTION_NOTIFY}) {
        m_reader.handle(event);
        return;
    }
    const auto& change = reinterpret_cast<const xcb_xfixes_selection_notify_event_t&>(event);
    if (!isOfCompositor(change.owner) || !isNeeded())
        return;
    ++m_changeCount;
    m_begun = std::chrono::steady_clock::now();
    m_isReading = true;
    m_hasNews = true;
    m_reader.begin(change.selection_timestamp);
    qCDebug(dragLog, "Drag %lld of a native program may have begun", static_cast<long long>(m_changeCount));
}

} // namespace Pelgra
