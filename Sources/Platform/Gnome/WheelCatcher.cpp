#include "Platform/Gnome/WheelCatcher.h"

#include "Platform/Gnome/NativePoints.h"
#include "Support/Logging.h"

#include <QCoreApplication>
#include <QCursor>
#include <QEvent>
#include <QGuiApplication>
#include <QMouseEvent>
#include <QScreen>

#include <array>
#include <cmath>
#include <utility>

namespace Pelgra {

namespace {

constexpr std::uint8_t eventTypeMask = 0x7f;
constexpr std::uint32_t dragProtocolVersion = 5;
constexpr int pointerPatienceMilliseconds = 150;

/// Going from one window to the other takes the compositor no longer: it tells of both at once.
constexpr int crossingMilliseconds = 120;

} // namespace

WheelCatcher::WheelCatcher(X11WheelSurface& wheel, XcbConnection& connection, xcb_connection_t* toolkitConnection,
                           Files files)
    : m_wheel(wheel)
    , m_connection(connection)
    , m_toolkitConnection(toolkitConnection)
    , m_files(std::move(files))
    , m_listener(*this)
    , m_ground(*this)
    , m_window(nullptr,
               Qt::Tool | Qt::FramelessWindowHint | Qt::NoDropShadowWindowHint | Qt::WindowDoesNotAcceptFocus
                   | Qt::BypassWindowManagerHint)
{
    m_window.setAttribute(Qt::WA_TranslucentBackground);
    m_window.setAttribute(Qt::WA_ShowWithoutActivating);
    m_window.setAttribute(Qt::WA_X11NetWmWindowTypeDND);
    m_window.setObjectName(QStringLiteral("catcher"));
    m_window.setWindowTitle(QStringLiteral("Pelgra"));
    m_window.setMouseTracking(true);
    m_window.installEventFilter(this);
    const auto window = static_cast<xcb_window_t>(m_window.winId());
    xcb_change_property(m_toolkitConnection, XCB_PROP_MODE_REPLACE, window, m_connection.atoms().xdndAware,
                        XCB_ATOM_ATOM, 32, 1, &dragProtocolVersion);
    m_receiver = std::make_unique<XdndReceiver>(
        m_connection, window, m_ground,
        XdndReceiver::Surroundings{[] { return true; }, [] { return std::int64_t{0}; },
                                   [](int x, int y) { return NativePoints::logicalOf(QPoint(x, y)).toPointF(); },
                                   [] { return std::vector<std::filesystem::path>(); }, [this] { m_lost.stop(); },
                                   [this](bool isMove) {
                                       suggested(isMove);
                                   }});
    m_wheel.onEntered = [this] {
        m_lost.stop(); // the next movement may be a while off
    };
    m_wheel.onSuggested = [this](bool isMove) {
        suggested(isMove);
    };
    m_wheel.onCompositingChanged = [this] {
        if (onCompositingChanged)
            onCompositingChanged();
    };
    m_lost.setSingleShot(true);
    m_lost.setInterval(crossingMilliseconds);
    connect(&m_lost, &QTimer::timeout, this, [this] {
        qCDebug(dragLog, "The drag left");
        if (onLeft)
            onLeft();
    });
    m_pointerPatience.setSingleShot(true);
    m_pointerPatience.setInterval(pointerPatienceMilliseconds);
    connect(&m_pointerPatience, &QTimer::timeout, this, [this] {
        // The place of the first entry is an old one, but the server knows better from then on.
        const QScreen* const screen = QGuiApplication::primaryScreen();
        answerPointer(m_hasEntered || !screen ? QCursor::pos() : screen->geometry().center());
    });
    QCoreApplication::instance()->installNativeEventFilter(this);
}

WheelCatcher::~WheelCatcher()
{
    QCoreApplication::instance()->removeNativeEventFilter(this);
    m_wheel.onEntered = nullptr;
    m_wheel.onSuggested = nullptr;
    m_wheel.onCompositingChanged = nullptr;
}

void WheelCatcher::attach(QWidget* panel, DropTarget* target)
{
    m_panel = panel;
    m_listener.target = target;
    m_wheel.attach(panel, &m_listener);
}

void WheelCatcher::detach()
{
    m_wheel.detach();
    m_listener.target = nullptr;
    m_panel = nullptr;
}

void WheelCatcher::spread()
{
    m_isSpread = true;
    m_hasDrag = false;
    m_isFirstSuggestion = true;
    showWindow();
}

void WheelCatcher::fold()
{
    m_isSpread = false;
    m_hasDrag = false;
    m_lost.stop();
    hideIfUnused();
}

void WheelCatcher::findPointer(std::function<void(QPoint)> found)
{
    m_pointerFound = std::move(found);
    m_hasEntered = false;
    showWindow();
    m_pointerPatience.start();
}

void WheelCatcher::showWindow()
{
    const QScreen* const screen = QGuiApplication::primaryScreen();
    if (!screen)
        return;
    m_window.setGeometry(screen->virtualGeometry());
    m_window.show();
}

void WheelCatcher::hideIfUnused()
{
    if (!m_isSpread && !m_pointerFound)
        m_window.hide();
}

void WheelCatcher::answerPointer(QPoint point)
{
    m_pointerPatience.stop();
    qCDebug(wheelLog, "The pointer is at %d, %d", point.x(), point.y());
    const auto found = std::exchange(m_pointerFound, nullptr);
    hideIfUnused();
    if (found)
        found(point);
}

bool WheelCatcher::isWellAway(QPoint point) const
{
    if (!m_panel || !m_panel->isVisible())
        return false;
    const QPoint way = point - m_panel->geometry().center();
    return std::hypot(way.x(), way.y()) > m_panel->width();
}

void WheelCatcher::moved(QPoint point)
{
    m_lost.stop();
    if (!m_isSpread)
        return;
    if (std::exchange(m_hasDrag, true)) {
        if (onMoved)
            onMoved(point);
        return;
    }
    const std::vector<std::filesystem::path> files = m_files();
    m_hasDrag = !files.empty(); // not yet known; a little later they may be
    if (!m_hasDrag)
        return;
    qCDebug(dragLog, "Drag caught with %zu file(s)", files.size());
    if (onEntered)
        onEntered(files, point);
}

void WheelCatcher::dragLeft()
{
    if (m_hasDrag)
        m_lost.start();
}

void WheelCatcher::dragDropped()
{
    m_lost.stop();
    if (std::exchange(m_hasDrag, false) && onDropped)
        onDropped();
}

void WheelCatcher::suggested(bool isMove)
{
    const bool wasMove = std::exchange(m_wasMove, isMove);
    if (!std::exchange(m_isFirstSuggestion, false) && isMove && !wasMove && m_hasDrag && onShift)
        onShift();
}

bool WheelCatcher::Ground::dragMoved(QPointF point)
{
    const QPoint place = point.toPoint();
    if (!m_catcher.m_hasDrag || !m_catcher.isWellAway(place)) {
        m_catcher.moved(place);
        return false;
    }
    if (m_catcher.onLeft)
        m_catcher.onLeft();
    return false;
}

bool WheelCatcher::Listener::dragMoved(QPointF viewPoint)
{
    if (m_catcher.m_panel)
        m_catcher.moved(m_catcher.m_panel->mapToGlobal(viewPoint).toPoint());
    return target && target->dragMoved(viewPoint);
}

void WheelCatcher::Listener::dragLeft()
{
    if (target)
        target->dragLeft();
    m_catcher.dragLeft();
}

void WheelCatcher::Listener::pressedBeside()
{
    if (target)
        target->pressedBeside();
}

void WheelCatcher::Listener::dragEnded(bool buttonStillDown)
{
    if (target)
        target->dragEnded(buttonStillDown);
    m_catcher.dragDropped();
}

bool WheelCatcher::eventFilter(QObject* watched, QEvent* event)
{
    if (event->type() == QEvent::Enter) {
        m_hasEntered = true;
    } else if (event->type() == QEvent::MouseMove) {
        const QPoint point = static_cast<QMouseEvent*>(event)->globalPosition().toPoint();
        if (m_pointerFound)
            answerPointer(point);
        else if (m_isSpread && onPointer)
            onPointer(point);
    }
    return QObject::eventFilter(watched, event);
}

bool WheelCatcher::nativeEventFilter(const QByteArray& type, void* message, qintptr*)
{
    if (type != QByteArrayLiteral("xcb_generic_event_t"))
        return false;
    const auto* event = static_cast<const xcb_generic_event_t*>(message);
    if ((event->response_type & eventTypeMask) != XCB_CLIENT_MESSAGE)
        return false;
    return m_receiver->handleMessage(*reinterpret_cast<const xcb_client_message_event_t*>(event));
}

} // namespace Pelgra
