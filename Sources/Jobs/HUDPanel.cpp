#include "Jobs/HUDPanel.h"

#include "Controls/Fade.h"
#include "Desktop/Motion.h"
#include "Jobs/HUDView.h"
#include "Platform/Compositing.h"
#include "Platform/Placement.h"

#include <QAccessibleWidget>
#include <QGuiApplication>
#include <QPainter>
#include <QPainterPath>
#include <QPropertyAnimation>
#include <QScreen>

namespace Pelgra {

namespace {

constexpr int appearMilliseconds = 150;
constexpr int vanishMilliseconds = 350;
constexpr int doneMilliseconds = 1600;
constexpr int failedMilliseconds = 4000; // longer, so that the message can be read; also for a success with a warning
constexpr int gapBelowAnchor = 28;
constexpr int screenMargin = 8;

const QColor background(0xFA, 0xFA, 0xFA, 0xF4);
const QColor outline(0, 0, 0, 40);

QList<HUDPanel*>& panels()
{
    static QList<HUDPanel*> list;
    return list;
}

QPainterPath capsule(const QRectF& rect)
{
    QPainterPath path;
    // With one line of text it is a capsule, with two a rounded rectangle.
    const double radius = qMin(rect.height() / 2, 22.0);
    path.addRoundedRect(rect, radius, radius);
    return path;
}

QAccessibleInterface* accessibleFor(const QString&, QObject* object)
{
    auto* const panel = qobject_cast<HUDPanel*>(object);
    return panel ? new QAccessibleWidget(panel, QAccessible::Notification) : nullptr;
}

} // namespace

HUDPanel* HUDPanel::show(const HUDState& state, QPoint anchor)
{
    auto* const panel = new HUDPanel(state, anchor);
    panels().append(panel);
    panel->appear();
    panel->scheduleDismissIfFinal();
    return panel;
}

const QList<HUDPanel*>& HUDPanel::livePanels()
{
    return panels();
}

HUDPanel::HUDPanel(const HUDState& state, QPoint anchor)
    : QWidget(nullptr,
              Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint | Qt::WindowDoesNotAcceptFocus
                  | Qt::WindowTransparentForInput | Qt::NoDropShadowWindowHint | Qt::BypassWindowManagerHint)
    , m_state(state)
    , m_anchor(anchor)
    , m_view(new HUDView(this))
    , m_visibility(new Fade(this))
    , m_fade(new QPropertyAnimation(m_visibility, "opacity", this))
{
    QAccessible::installFactory(accessibleFor);
    setAttribute(Qt::WA_TranslucentBackground);
    setAttribute(Qt::WA_ShowWithoutActivating);
    setAttribute(Qt::WA_TransparentForMouseEvents);
    setAttribute(Qt::WA_X11NetWmWindowTypeNotification);
    setObjectName(QStringLiteral("hud"));
    m_dismissal.setObjectName(QStringLiteral("dismissal"));
    m_dismissal.setSingleShot(true);
    m_dismissal.setTimerType(Qt::PreciseTimer); // a coarse one may be 5 % early
    connect(&m_dismissal, &QTimer::timeout, this, &HUDPanel::fadeOut);
    applyState();
}

HUDPanel::~HUDPanel()
{
    panels().removeOne(this);
}

void HUDPanel::update(const HUDState& state)
{
    m_state = state;
    applyState();
    scheduleDismissIfFinal();
}

void HUDPanel::applyState()
{
    m_view->setState(m_state);
    setAccessibleName(m_view->accessibleName());
    reposition();
    QWidget::update();
    if (isVisible()) {
        // It never has the focus; a notification is read aloud when it is shown, so it is shown again with every new
        // text.
        QAccessibleEvent event(this, QAccessible::ObjectShow);
        QAccessible::updateAccessibility(&event);
    }
}

QPoint HUDPanel::originFor(QSize size, QPoint anchor, std::optional<QRect> availableArea)
{
    QPoint origin(anchor.x() - size.width() / 2, anchor.y() + gapBelowAnchor);
    if (!availableArea)
        return origin;
    const QRect area = *availableArea;
    origin.setX(
        qMin(qMax(origin.x(), area.left() + screenMargin), area.left() + area.width() - size.width() - screenMargin));
    // The top margin wins on a screen too small for both, so it is applied last.
    origin.setY(
        qMax(qMin(origin.y(), area.top() + area.height() - size.height() - screenMargin), area.top() + screenMargin));
    return origin;
}

void HUDPanel::reposition()
{
    const QSize size = m_view->sizeHint();
    std::optional<QRect> area;
    if (const QScreen* const screen = QGuiApplication::screenAt(m_anchor))
        area = screen->availableGeometry();
    Placement::place(*this, QRect(originFor(size, m_anchor, area), size));
    m_view->setGeometry(rect());
}

void HUDPanel::appear()
{
    m_visibility->setOpacity(Compositing::isActive() && !Motion::isReduced() ? 0 : 1);
    QWidget::show();
    raise();
    fadeTo(1, appearMilliseconds);
}

void HUDPanel::scheduleDismissIfFinal()
{
    m_dismissal.stop();
    if (std::holds_alternative<HUDWorking>(m_state))
        return;
    if (m_fade->endValue().toDouble() == 0.0)
        fadeTo(1, appearMilliseconds); // it was on its way out
    const auto* done = std::get_if<HUDDone>(&m_state);
    m_dismissal.start(done && !done->secondText ? doneMilliseconds : failedMilliseconds);
}

void HUDPanel::fadeOut()
{
    fadeTo(0, vanishMilliseconds);
    const bool fades = m_fade->state() == QAbstractAnimation::Running;
    if (fades)
        connect(m_fade, &QPropertyAnimation::finished, this, &QObject::deleteLater);
    else
        deleteLater();
    if (!fades)
        hide();
}

void HUDPanel::fadeTo(double opacity, int milliseconds)
{
    m_fade->disconnect(this);
    m_fade->stop();
    m_fade->setEndValue(opacity);
    if (!Compositing::isActive() || Motion::isReduced()) {
        m_visibility->setOpacity(1);
        return;
    }
    m_fade->setStartValue(m_visibility->opacity());
    m_fade->setDuration(milliseconds);
    m_fade->start();
}

void HUDPanel::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    if (Compositing::isActive())
        painter.fillPath(capsule(QRectF(rect())), background);
    else
        painter.fillRect(rect(), QColor(background.rgb())); // cut to the outline, without soft edges
    painter.setPen(QPen(outline, 1));
    painter.drawPath(capsule(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5)));
}

void HUDPanel::applyOutline()
{
    Compositing::setOutline(*this, capsule(QRectF(rect())));
}

void HUDPanel::resizeEvent(QResizeEvent*)
{
    applyOutline();
}

void HUDPanel::showEvent(QShowEvent* event)
{
    QWidget::showEvent(event);
    applyOutline();
}

} // namespace Pelgra
