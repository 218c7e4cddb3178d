#include "Wheel/WheelTargets.h"

#include "Desktop/Motion.h"
#include "Platform/Compositing.h"
#include "Platform/Placement.h"
#include "Platform/Pointer.h"
#include "Platform/Sampling/DragDiscovery.h"
#include "Support/Logging.h"
#include "Wheel/TargetRules.h"

#include <QGuiApplication>
#include <QScreen>
#include <QWindow>

#include <algorithm>
#include <chrono>

namespace Pelgra {

namespace {

using namespace std::chrono_literals;

constexpr int fadeInMilliseconds = 120;
constexpr auto followingInterval = 33ms;

/// Where the end of a drag is not told, most have ended by then.
constexpr auto longestStay = 6s;

/// A surface that looks for the drag has gone again by then.
constexpr auto absence = DragDiscovery::patience + 100ms;

} // namespace

WheelTargets::WheelTargets(QWidget* parent)
    : QWidget(parent,
              Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint | Qt::NoDropShadowWindowHint
                  | Qt::WindowDoesNotAcceptFocus | Qt::BypassWindowManagerHint)
    , m_visibility(new Fade(this))
    , m_fade(m_visibility, "opacity")
{
    setAttribute(Qt::WA_TranslucentBackground);
    setAttribute(Qt::WA_ShowWithoutActivating);
    setAttribute(Qt::WA_X11NetWmWindowTypeDND); // compositing managers leave such windows alone
    setObjectName(QStringLiteral("wheelTargets"));
    setWindowTitle(QStringLiteral("Pelgra"));
    for (const WheelKind kind : {WheelKind::convert, WheelKind::tools}) {
        auto* const target = new WheelTarget(kind, this);
        connect(target, &WheelTarget::entered, this, [this](WheelKind wheel) {
            if (isVisible())
                Q_EMIT entered(wheel);
        });
        connect(target, &WheelTarget::pointerCame, this, &WheelTargets::dismiss);
        m_targets.push_back(target);
    }
    m_following.setInterval(followingInterval);
    connect(&m_following, &QTimer::timeout, this, &WheelTargets::followPointer);
    m_dismissal.setObjectName(QStringLiteral("dismissal"));
    m_dismissal.setSingleShot(true);
    connect(&m_dismissal, &QTimer::timeout, this, &WheelTargets::dismiss);
    m_return.setObjectName(QStringLiteral("return"));
    m_return.setSingleShot(true);
    m_return.setInterval(absence);
    connect(&m_return, &QTimer::timeout, this, &WheelTargets::appear);
    QTimer::singleShot(0, this, &WheelTargets::rehearse);
}

/// Makes the window and paints what nobody sees: otherwise the start of the first drag would wait for both.
void WheelTargets::rehearse()
{
    winId();
    for (WheelTarget* target : m_targets)
        target->grab();
}

void WheelTargets::showBeside(QPoint pointer, const std::vector<WheelKind>& kinds)
{
    dismiss();
    QScreen* screen = QGuiApplication::screenAt(pointer);
    if (screen == nullptr)
        screen = QGuiApplication::primaryScreen();
    if (kinds.empty() || screen == nullptr)
        return;
    const std::optional<QRect> place =
        TargetRules::besidePointer(pointer, TargetRules::sizeOf(kinds.size(), false), screen->availableGeometry());
    if (!place)
        return;
    arrange(kinds, false);
    winId();
    windowHandle()->setScreen(screen); // first, or a screen of another scale gets it in the wrong size
    Placement::place(*this, *place);
    m_following.start();
    appear();
}

void WheelTargets::showAtEdge(const std::vector<WheelKind>& kinds)
{
    dismiss();
    if (kinds.empty())
        return;
    arrange(kinds, true);
    Placement::placeAtEdge(*this, TargetRules::sizeOf(kinds.size(), true), TargetRules::fromEdge);
    m_dismissal.start(longestStay);
    appear();
}

void WheelTargets::stepAside()
{
    m_fade.stop();
    hide();
    m_return.start();
}

void WheelTargets::dismiss()
{
    m_following.stop();
    m_dismissal.stop();
    m_return.stop();
    if (!isVisible())
        return;
    m_fade.stop();
    hide();
    qCDebug(wheelLog, "Targets gone");
}

void WheelTargets::arrange(const std::vector<WheelKind>& kinds, bool isColumn)
{
    QPoint corner;
    for (WheelTarget* target : m_targets) {
        const bool isOffered = std::find(kinds.begin(), kinds.end(), target->kind()) != kinds.end();
        target->setVisible(isOffered);
        if (!isOffered)
            continue;
        target->move(corner);
        corner += isColumn ? QPoint(0, target->height()) : QPoint(target->width(), 0);
    }
}

void WheelTargets::appear()
{
    const bool fades = Compositing::isActive() && !Motion::isReduced();
    m_visibility->setOpacity(fades ? 0 : 1);
    show();
    raise();
    qCDebug(wheelLog, "Targets shown");
    if (!fades)
        return;
    m_fade.setStartValue(0.0);
    m_fade.setEndValue(1.0);
    m_fade.setDuration(fadeInMilliseconds);
    m_fade.start();
}

void WheelTargets::followPointer()
{
    if (TargetRules::isWellAway(Pointer::place(), geometry()))
        dismiss();
}

void WheelTargets::showEvent(QShowEvent* event)
{
    QWidget::showEvent(event);
    QPainterPath circles;
    for (const WheelTarget* target : m_targets) {
        if (!target->isHidden())
            circles.addPath(target->outline());
    }
    Compositing::setOutline(*this, circles);
    Placement::setInputArea(*this, circles);
}

} // namespace Pelgra
