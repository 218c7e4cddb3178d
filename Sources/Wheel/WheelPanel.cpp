#include "Wheel/WheelPanel.h"

#include "Desktop/Motion.h"
#include "Wheel/WheelLayout.h"

#include <QEvent>
#include <QGuiApplication>
#include <QScreen>
#include <QWindow>

#include <utility>

namespace Pelgra {

namespace {

constexpr int fadeInMilliseconds = 120;
constexpr int fadeOutMilliseconds = 100;

/// During a drag the window manager is left out: no placing, no animation, no focus. A wheel that is operated by
/// keyboard needs it, since unmanaged windows get no focus.
Qt::WindowFlags flagsFor(bool allowsKey)
{
    const Qt::WindowFlags common =
        Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint | Qt::NoDropShadowWindowHint;
    return allowsKey ? common : common | Qt::WindowDoesNotAcceptFocus | Qt::BypassWindowManagerHint;
}

} // namespace

WheelPanel::WheelPanel(WheelSurface& surface, QWidget* parent)
    : QWidget(parent, flagsFor(false))
    , m_surface(surface)
    , m_view(new WheelView(this))
    , m_visibility(new Fade(this))
    , m_fade(m_visibility, "opacity")
{
    setAttribute(Qt::WA_TranslucentBackground);
    setAttribute(Qt::WA_ShowWithoutActivating);
    setAttribute(Qt::WA_X11NetWmWindowTypeDND); // compositing managers leave such windows alone
    setObjectName(QStringLiteral("wheelPanel"));
    setWindowTitle(QStringLiteral("Pelgra"));
    setFixedSize(side, side);
    m_view->setGeometry(rect());
    connect(m_view, &WheelView::regionsChanged, this, &WheelPanel::applyShape);
    connect(&m_fade, &QPropertyAnimation::finished, this, [this] {
        if (!m_isShown)
            hide();
    });
    m_surface.attach(this, m_view);
    m_surface.onCompositingChanged = [this] {
        m_view->setCompositing(m_surface.isCompositing());
    };
    m_view->setCompositing(m_surface.isCompositing());
}

WheelPanel::~WheelPanel()
{
    m_surface.onCompositingChanged = nullptr;
    m_surface.detach();
}

void WheelPanel::centerOn(QPoint point)
{
    const QScreen* screen = QGuiApplication::screenAt(point);
    if (screen == nullptr)
        screen = QGuiApplication::primaryScreen();
    m_surface.place(*this,
                    screen != nullptr ? panelOriginFor(point, size(), screen->geometry()) : point - rect().center());
}

void WheelPanel::applyFlags()
{
    m_surface.setTakesKeys(m_allowsKey);
    const Qt::WindowFlags flags = flagsFor(m_allowsKey);
    if (!isWindow() || flags == windowFlags())
        return;
    // A window that is still fading out must not change in view.
    hide();
    // Changing the flags through the widget would make a new window, unknown to the surface.
    overrideWindowFlags(flags);
    setAttribute(Qt::WA_X11NetWmWindowTypeDND, !m_allowsKey);
    if (windowHandle())
        windowHandle()->setFlags(flags);
    setAttribute(Qt::WA_ShowWithoutActivating, !m_allowsKey);
}

void WheelPanel::fadeIn()
{
    m_isShown = true;
    applyFlags();
    if (!isVisible())
        m_visibility->setOpacity(0);
    fade(1, fadeInMilliseconds);
    show();
    raise();
}

void WheelPanel::fadeOut()
{
    m_isShown = false;
    m_wasActive = false;
    fade(0, fadeOutMilliseconds);
}

void WheelPanel::fade(double opacity, int milliseconds)
{
    m_fade.stop();
    if (!isVisible() && !m_isShown)
        return;
    if (Motion::isReduced() || !m_surface.isCompositing()) {
        m_visibility->setOpacity(1);
        setVisible(m_isShown);
        return;
    }
    m_fade.setStartValue(m_visibility->opacity());
    m_fade.setEndValue(opacity);
    m_fade.setDuration(milliseconds);
    m_fade.start();
}

bool WheelPanel::event(QEvent* event)
{
    if (event->type() == QEvent::ScreenChangeInternal)
        applyShape(); // the new screen may have another scale
    return QWidget::event(event);
}

void WheelPanel::changeEvent(QEvent* event)
{
    QWidget::changeEvent(event);
    if (event->type() != QEvent::ActivationChange)
        return;
    const bool wasActive = std::exchange(m_wasActive, isActiveWindow());
    if (wasActive && !m_wasActive)
        Q_EMIT focusLost();
}

void WheelPanel::hideEvent(QHideEvent* event)
{
    QWidget::hideEvent(event);
    Q_EMIT vanished();
}

void WheelPanel::applyShape()
{
    m_surface.setInputRegion(m_view->activeRegion());
    m_surface.setPaintedRegion(m_view->paintedRegion());
}

} // namespace Pelgra
