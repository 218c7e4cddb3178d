#include "Platform/X11/X11Platform.h"

#include "Platform/ShapePixels.h"
#include "Platform/X11/WindowOutline.h"

#include <xcb/xfixes.h>

#include <QGuiApplication>
#include <QPainterPath>
#include <QWidget>

#include <optional>

namespace Pelgra {

namespace {

constexpr std::uint8_t eventTypeMask = 0x7f;

} // namespace

std::unique_ptr<X11Platform> X11Platform::create()
{
    const auto* application = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
    if (application == nullptr || application->connection() == nullptr)
        return nullptr;
    std::unique_ptr<XcbConnection> connection = XcbConnection::open();
    if (!connection)
        return nullptr;
    return std::unique_ptr<X11Platform>(new X11Platform(std::move(connection), application->connection()));
}

X11Platform::X11Platform(std::unique_ptr<XcbConnection> connection, xcb_connection_t* toolkitConnection)
    : m_connection(std::move(connection))
    , m_toolkitConnection(toolkitConnection)
    , m_dragSource(*m_connection, xcb_get_setup(toolkitConnection))
    , m_wheelSurface(*m_connection, toolkitConnection,
                     {[this] { return m_dragSource.acceptsDrops(); },
                      [this] { return m_dragSource.primaryButton() == ButtonState::up; },
                      [this] { return m_dragSource.changeCount(); },
                      [this] {
                          return m_dragSource.filesOfDrop();
                      }})
    , m_notifier(xcb_get_file_descriptor(m_connection->get()), QSocketNotifier::Read)
{
    m_dragSource.drain = [this] {
        // What came before the reply just read is in the queue; looking at the socket again would cost a call per tick.
        drain(xcb_poll_for_queued_event);
        m_wheelSurface.proceed();
    };
    m_dragSource.beforeCancelled = [this] {
        m_wheelSurface.cancelDrag();
    };
    m_wheelSurface.drain = [this] {
        drainAndTell();
    };
    watchTray();
    connect(&m_notifier, &QSocketNotifier::activated, this, &X11Platform::drainAndTell);
}

bool X11Platform::hasTray() const
{
    return m_connection->selectionOwner(m_connection->atoms().trayManager) != XCB_WINDOW_NONE;
}

void X11Platform::setOutline(QWidget& window, const QPainterPath& outline)
{
    const auto native = static_cast<xcb_window_t>(window.internalWinId());
    if (native == XCB_WINDOW_NONE)
        return;
    const bool isCut = !m_wheelSurface.isCompositing();
    WindowOutline::setShape(m_toolkitConnection, native, XCB_SHAPE_SK_BOUNDING,
                            isCut ? std::optional(pixelsOf(outline, window.size(), window.devicePixelRatioF()))
                                  : std::nullopt);
    WindowOutline::refuseShadow(m_toolkitConnection, native, m_connection->atoms().frameExtents);
    xcb_flush(m_toolkitConnection);
}

void X11Platform::setInputArea(QWidget& window, const QPainterPath& area)
{
    const auto native = static_cast<xcb_window_t>(window.internalWinId());
    if (native == XCB_WINDOW_NONE)
        return;
    WindowOutline::setShape(m_toolkitConnection, native, XCB_SHAPE_SK_INPUT,
                            pixelsOf(area, window.size(), window.devicePixelRatioF()));
    xcb_flush(m_toolkitConnection);
}

DesktopAbilities X11Platform::abilities() const
{
    // A compositor of Wayland shows an X server its own programs' drags at most from their beginning.
    const bool isInside = !qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY");
    const XcbExtensions& extensions = m_connection->extensions();
    DesktopAbilities abilities;
    abilities.seesDrags = extensions.hasFixes && !isInside;
    abilities.seesKeys = !isInside;
    const xcb_setup_t* const setup = xcb_get_setup(m_connection->get());
    abilities.compositor.assign(xcb_setup_vendor(setup), static_cast<std::size_t>(xcb_setup_vendor_length(setup)));
    abilities.compositor += isInside ? ", inside a Wayland compositor" : "";
    abilities.sources = {"X11"};
    abilities.surfaces = m_wheelSurface.isCompositing() ? "X11 window, translucent"
                                                        : "X11 window, cut to its shape (nothing composites)";
    if (!extensions.hasFixes)
        abilities.missing.emplace_back("the XFixes extension of the X server");
    if (!extensions.hasKeyboard)
        abilities.missing.emplace_back("the XKB extension of the X server");
    if (isInside)
        abilities.missing.emplace_back("layer surfaces: drags of programs that run on Wayland itself are not seen");
    return abilities;
}

void X11Platform::watchTray()
{
    if (!m_connection->extensions().hasFixes)
        return;
    xcb_xfixes_select_selection_input(m_connection->get(), m_connection->root(), m_connection->atoms().trayManager,
                                      XCB_XFIXES_SELECTION_EVENT_MASK_SET_SELECTION_OWNER);
    m_connection->flush();
}

bool X11Platform::isTrayChange(const xcb_generic_event_t& event) const
{
    const XcbExtensions& extensions = m_connection->extensions();
    return extensions.hasFixes
        && (event.response_type & eventTypeMask) == extensions.fixesFirstEvent + unsigned{XCB_XFIXES_SELECTION_NOTIFY}
    && reinterpret_cast<const xcb_xfixes_selection_notify_event_t&>(event).selection
        == m_connection->atoms().trayManager;
}

void X11Platform::drain(NextEvent next)
{
    if (m_isDraining)
        return; // what is being handled asked the server something; the outer loop goes on
    m_isDraining = true;
    while (const XcbOwned<xcb_generic_event_t> event{next(m_connection->get())}) {
        m_dragSource.handle(*event);
        m_wheelSurface.handle(*event);
        if (isTrayChange(*event) && onTrayChanged)
            onTrayChanged();
    }
    m_isDraining = false;
    if (xcb_connection_has_error(m_connection->get()) != 0)
        m_notifier.setEnabled(false); // the server has gone; Qt ends the process
}

void X11Platform::drainAndTell()
{
    drain(xcb_poll_for_event);
    if (!m_isDraining && m_dragSource.takeNews() && m_dragSource.onNews)
        m_dragSource.onNews();
}

} // namespace Pelgra
