#include "Wheel/WheelTarget.h"

#include "Platform/Compositing.h"
#include "Wheel/TargetRules.h"
#include "Wheel/WheelDrawing.h"

#include <QAccessibleWidget>
#include <QDragEnterEvent>
#include <QMouseEvent>
#include <QPainter>

namespace Pelgra {

namespace {

QAccessibleInterface* accessibleFor(const QString&, QObject* object)
{
    auto* const target = qobject_cast<WheelTarget*>(object);
    return target ? new QAccessibleWidget(target, QAccessible::Button) : nullptr;
}

} // namespace

WheelTarget::WheelTarget(WheelKind kind, QWidget* parent)
    : QWidget(parent)
    , m_kind(kind)
{
    QAccessible::installFactory(accessibleFor);
    const bool isConvert = kind == WheelKind::convert;
    setObjectName(isConvert ? QStringLiteral("convertTarget") : QStringLiteral("toolsTarget"));
    setAccessibleName(isConvert ? QStringLiteral("Convert dragged files")
                                : QStringLiteral("PDF tools for dragged files"));
    setAcceptDrops(true);
    setMouseTracking(true);
    setFixedSize(TargetRules::sizeOf(1, false));
}

QRectF WheelTarget::circle() const
{
    constexpr int edge = TargetRules::surroundings;
    return rect().toRectF().adjusted(edge, edge, -edge, -edge);
}

QPainterPath WheelTarget::outline() const
{
    QPainterPath path;
    path.addEllipse(circle().translated(pos()));
    return path;
}

void WheelTarget::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    WheelDrawing::paintTarget(painter, m_kind, circle(), Compositing::isActive());
}

void WheelTarget::dragEnterEvent(QDragEnterEvent* event)
{
    event->ignore(); // released here already, the drag is for nobody
    QMetaObject::invokeMethod(this, [this] { Q_EMIT entered(m_kind); }, Qt::QueuedConnection);
}

void WheelTarget::mouseMoveEvent(QMouseEvent*)
{
    Q_EMIT pointerCame();
}

void WheelTarget::mousePressEvent(QMouseEvent*)
{
    Q_EMIT pointerCame();
}

} // namespace Pelgra
