#include "Platform/X11/X11WheelSurface.h"

#include "Platform/X11/WindowOutline.h"

#include <xcb/xfixes.h>

#include <QCoreApplication>
#include <QEvent>

#include <array>
#include <utility>

namespace Pelgra {

namespace {

constexpr std::uint8_t eventTypeMask = 0x7f;
constexpr std::uint32_t dragProtocolVersion = 5;

} // namespace

X11WheelSurface::X11WheelSurface(XcbConnection& connection, xcb_connection_t* shapeConnection, Drag drag)
    : m_connection(connection)
    , m_shapeConnection(shapeConnection)
    , m_drag(std::move(drag))
{
    if (connection.extensions().hasFixes) {
        xcb_xfixes_select_selection_input(connection.get(), connection.root(), connection.atoms().compositor,
                                          XCB_XFIXES_SELECTION_EVENT_MASK_SET_SELECTION_OWNER
                                              | XCB_XFIXES_SELECTION_EVENT_MASK_SELECTION_WINDOW_DESTROY
                                              | XCB_XFIXES_SELECTION_EVENT_MASK_SELECTION_CLIENT_CLOSE);
    }
    m_isCompositing = connection.selectionOwner(connection.atoms().compositor) != XCB_WINDOW_NONE;
    QCoreApplication::instance()->installNativeEventFilter(this);
}

X11WheelSurface::~X11WheelSurface()
{
    QCoreApplication::instance()->removeNativeEventFilter(this);
}

void X11WheelSurface::attach(QWidget* panel, DropTarget* target)
{
    detach();
    m_panel = panel;
    m_target = target;
    panel->installEventFilter(this);
    adoptWindow();
}

void X11WheelSurface::detach()
{
    if (m_panel)
        m_panel->removeEventFilter(this);
    m_panel = nullptr;
    m_target = nullptr;
    m_receiver.reset();
    m_inputRegion.reset();
    m_paintedRegion.reset();
}

void X11WheelSurface::adoptWindow()
{
    const auto window = static_cast<xcb_window_t>(m_panel->winId());
    xcb_change_property(m_shapeConnection, XCB_PROP_MODE_REPLACE, window, m_connection.atoms().xdndAware, XCB_ATOM_ATOM,
                        32, 1, &dragProtocolVersion);
    WindowOutline::refuseShadow(m_shapeConnection, window, m_connection.atoms().frameExtents);
    m_receiver = std::make_unique<XdndReceiver>(
        m_connection, window, *m_target,
        XdndReceiver::Surroundings{[this] { return acceptsDrops(); }, [this] { return m_drag.changeCount(); },
                                   [this](int x, int y) { return viewPointAt(x, y); },
                                   [this] { return m_drag.files(); },
                                   [this] {
                                       if (onEntered)
                                           onEntered();
                                   },
                                   [this](bool isMove) {
                                       if (onSuggested)
                                           onSuggested(isMove);
                                   }});
    applyRegions();
}

void X11WheelSurface::setInputRegion(const QRegion& pixels)
{
    m_inputRegion = pixels;
    applyRegions();
}

void X11WheelSurface::setPaintedRegion(const QRegion& pixels)
{
    m_paintedRegion = pixels;
    applyRegions();
}

void X11WheelSurface::applyRegions()
{
    const auto window = static_cast<xcb_window_t>(m_panel ? m_panel->internalWinId() : 0);
    if (window == XCB_WINDOW_NONE)
        return;
    WindowOutline::setShape(m_shapeConnection, window, XCB_SHAPE_SK_INPUT, m_inputRegion);
    // The compositing manager blends the smooth edge; without one, everything outside would be black.
    WindowOutline::setShape(m_shapeConnection, window, XCB_SHAPE_SK_BOUNDING,
                            m_isCompositing ? std::nullopt : m_paintedRegion);
    xcb_flush(m_shapeConnection);
}

void X11WheelSurface::leaveOutOfLists()
{
    // Window managers read it when a window is mapped, which comes next, and delete it when it is unmapped. The toolkit
    // adds to what it finds there.
    const std::array states{m_connection.atoms().skipTaskbar, m_connection.atoms().skipPager};
    xcb_change_property(m_shapeConnection, XCB_PROP_MODE_REPLACE, static_cast<xcb_window_t>(m_panel->internalWinId()),
                        m_connection.atoms().windowState, XCB_ATOM_ATOM, 32, states.size(), states.data());
}

void X11WheelSurface::handle(const xcb_generic_event_t& event)
{
    const unsigned type = event.response_type & eventTypeMask;
    const XcbExtensions& extensions = m_connection.extensions();
    if (extensions.hasFixes && type == extensions.fixesFirstEvent + unsigned{XCB_XFIXES_SELECTION_NOTIFY}) {
        if (reinterpret_cast<const xcb_xfixes_selection_notify_event_t&>(event).selection
            == m_connection.atoms().compositor)
            updateCompositing();
    }
    if (m_receiver)
        m_receiver->handle(event);
}

void X11WheelSurface::updateCompositing()
{
    const bool isCompositing = m_connection.selectionOwner(m_connection.atoms().compositor) != XCB_WINDOW_NONE;
    if (std::exchange(m_isCompositing, isCompositing) == isCompositing)
        return;
    if (m_panel) {
        applyRegions();
        m_panel->update();
    }
    if (onCompositingChanged)
        onCompositingChanged();
}

void X11WheelSurface::proceed()
{
    if (m_receiver)
        m_receiver->proceed();
}

void X11WheelSurface::cancelDrag()
{
    if (m_receiver && m_panel && m_panel->isVisible())
        m_receiver->cancel();
}

bool X11WheelSurface::acceptsDrops() const
{
    // A hidden panel still gets the drop of a drag whose end was seen a moment before it.
    return m_panel && m_drag.acceptsDrops() && (m_panel->isVisible() || m_drag.isButtonUp());
}

QPointF X11WheelSurface::viewPointAt(int rootX, int rootY) const
{
    const XcbOwned<xcb_translate_coordinates_reply_t> reply(xcb_translate_coordinates_reply(
        m_connection.get(),
        xcb_translate_coordinates(m_connection.get(), m_connection.root(),
                                  static_cast<xcb_window_t>(m_panel->internalWinId()), static_cast<std::int16_t>(rootX),
                                  static_cast<std::int16_t>(rootY)),
        nullptr));
    if (!reply)
        return {-1, -1};
    // The middle of the pixel.
    return QPointF(reply->dst_x + 0.5, reply->dst_y + 0.5) / m_panel->devicePixelRatioF();
}

bool X11WheelSurface::eventFilter(QObject* watched, QEvent* event)
{
    if (event->type() == QEvent::WinIdChange && m_panel->internalWinId() != 0)
        adoptWindow();
    else if (event->type() == QEvent::Show)
        applyRegions();
    if (event->type() == QEvent::Show)
        leaveOutOfLists();
    return QObject::eventFilter(watched, event);
}

bool X11WheelSurface::nativeEventFilter(const QByteArray& type, void* message, qintptr*)
{
    if (!m_receiver || type != QByteArrayLiteral("xcb_generic_event_t"))
        return false;
    const auto* event = static_cast<const xcb_generic_event_t*>(message);
    if ((event->response_type & eventTypeMask) != XCB_CLIENT_MESSAGE)
        return false;
    const bool isHandled = m_receiver->handleMessage(*reinterpret_cast<const xcb_client_message_event_t*>(event));
    if (isHandled && drain)
        drain();
    return isHandled;
}

} // namespace Pelgra
