#include "Wheel/WheelLayout.h"

#include <QRect>
#include <QSize>

#include <algorithm>
#include <cmath>
#include <numbers>

namespace Pelgra {

namespace {

constexpr double pi = std::numbers::pi;

QPointF polar(double radius, double angle)
{
    return {radius * std::cos(angle), radius * std::sin(angle)};
}

/// Appends an arc, counter-clockwise where sweep is positive, that starts where the path ends. Made of cubic curves of
/// at most an eighth of a turn: unlike those of QPainterPath::arcTo, their ends lie exactly on the circle, and between
/// them they stray from it by less than a thousandth of a pixel.
void addArc(QPainterPath& path, QPointF center, double radius, double start, double sweep)
{
    const int pieces = std::max(1, static_cast<int>(std::ceil(std::abs(sweep) / (pi / 4))));
    const double piece = sweep / pieces;
    const double handle = 4.0 / 3 * std::tan(piece / 4) * radius;
    for (int i = 0; i < pieces; ++i) {
        const double from = start + i * piece;
        const double to = from + piece;
        path.cubicTo(center + polar(radius, from) + polar(handle, from + pi / 2),
                     center + polar(radius, to) - polar(handle, to + pi / 2), center + polar(radius, to));
    }
}

/// An arc of a rounded corner: the short way from one tangent point to the other.
void addCorner(QPainterPath& path, QPointF center, double radius, QPointF from, QPointF to)
{
    const double start = std::atan2(from.y() - center.y(), from.x() - center.x());
    const double end = std::atan2(to.y() - center.y(), to.x() - center.x());
    double sweep = end - start;
    if (sweep > pi)
        sweep -= 2 * pi;
    else if (sweep <= -pi)
        sweep += 2 * pi;
    addArc(path, center, radius, start, sweep);
}

/// A straight side of a petal: the line beside the boundary ray, moved into the petal.
struct SideEdge {
    double angle; ///< of the boundary ray
    double inset; ///< to the left of the ray; negative is to the right

    QPointF at(double distance) const
    {
        return {distance * std::cos(angle) - inset * std::sin(angle),
                distance * std::sin(angle) + inset * std::cos(angle)};
    }
};

/// The circles that round the corners at one end of a petal, inner or outer.
struct Corners {
    double radius; ///< of the corner circles
    double distance; ///< of their centres from the origin
    double offset; ///< angle between the boundary ray and their centres
    double edgeDistance; ///< of the tangent points along the boundary ray

    Corners(double cornerRadius, double centerDistance, double halfGap)
        : radius(cornerRadius)
        , distance(centerDistance)
        , offset(std::asin(std::min((halfGap + cornerRadius) / centerDistance, 1.0)))
        , edgeDistance(centerDistance * std::cos(offset))
    {
    }
};

void addCircle(QPainterPath& path, double radius)
{
    path.addEllipse(QPointF(0, 0), radius, radius);
}

} // namespace

WheelLayout WheelLayout::forPetalCount(int count)
{
    WheelLayout layout;
    layout.petalCount = count;
    layout.cornerRadius = count < 7 ? 12 : 10;
    return layout;
}

double WheelLayout::step() const
{
    return petalCount < 1 ? 0 : 2 * pi / petalCount;
}

double WheelLayout::midAngle(int petal) const
{
    return pi / 2 - step() * petal;
}

QPointF WheelLayout::pointOnAxis(int petal, double distance) const
{
    return polar(distance, midAngle(petal));
}

QPointF WheelLayout::labelPoint(int petal) const
{
    return pointOnAxis(petal, (outerRadius + innerRadius) / 2 + (isDense() ? 4 : 2));
}

QPainterPath WheelLayout::pathForPetal(int petal) const
{
    QPainterPath path;
    if (petalCount < 1)
        return path;
    if (petalCount == 1) {
        addCircle(path, outerRadius);
        addCircle(path, innerRadius);
        return path;
    }
    const double halfGap = gap / 2;
    const double corner = std::min((outerRadius - innerRadius) / 2 - 0.5, cornerRadius);
    const double startAngle = midAngle(petal) - step() / 2;
    const double endAngle = midAngle(petal) + step() / 2;
    const SideEdge start{startAngle, halfGap};
    const SideEdge end{endAngle, -halfGap};
    const Corners outer(corner, outerRadius - corner, halfGap);
    const Corners inner(corner, innerRadius + corner, halfGap);

    path.moveTo(start.at(inner.edgeDistance));
    path.lineTo(start.at(outer.edgeDistance));
    addCorner(path, polar(outer.distance, startAngle + outer.offset), corner, start.at(outer.edgeDistance),
              polar(outerRadius, startAngle + outer.offset));
    addArc(path, {}, outerRadius, startAngle + outer.offset, step() - 2 * outer.offset);
    addCorner(path, polar(outer.distance, endAngle - outer.offset), corner, polar(outerRadius, endAngle - outer.offset),
              end.at(outer.edgeDistance));
    path.lineTo(end.at(inner.edgeDistance));
    addCorner(path, polar(inner.distance, endAngle - inner.offset), corner, end.at(inner.edgeDistance),
              polar(innerRadius, endAngle - inner.offset));
    addArc(path, {}, innerRadius, endAngle - inner.offset, 2 * inner.offset - step());
    addCorner(path, polar(inner.distance, startAngle + inner.offset), corner,
              polar(innerRadius, startAngle + inner.offset), start.at(inner.edgeDistance));
    path.closeSubpath();
    return path;
}

QPainterPath WheelLayout::ringPath() const
{
    QPainterPath path;
    addCircle(path, outerRadius + ringPadding);
    if (innerRadius > ringPadding)
        addCircle(path, innerRadius - ringPadding);
    return path;
}

std::optional<int> WheelLayout::petalIndexAt(QPointF point) const
{
    if (petalCount < 1)
        return std::nullopt;
    const double distance = std::hypot(point.x(), point.y());
    if (!(distance >= innerRadius && distance <= outerRadius))
        return std::nullopt;
    double clockwise = std::atan2(point.x(), point.y());
    if (clockwise < 0)
        clockwise += 2 * pi;
    return static_cast<int>(std::floor((clockwise + step() / 2) / step())) % petalCount;
}

QTransform wheelToView(const QRectF& viewBounds)
{
    return {1, 0, 0, -1, viewBounds.center().x(), viewBounds.center().y()};
}

QPointF wheelPointAt(QPointF viewPoint, const QRectF& viewBounds)
{
    const QPointF offset = viewPoint - viewBounds.center();
    return {offset.x(), -offset.y()};
}

QPoint panelOriginFor(QPoint center, const QSize& panel, const QRect& screen)
{
    const QPoint wished(center.x() - panel.width() / 2, center.y() - panel.height() / 2);
    const int right = screen.left() + screen.width() - panel.width();
    const int bottom = screen.top() + screen.height() - panel.height();
    return {std::min(std::max(wished.x(), screen.left()), right), std::min(std::max(wished.y(), screen.top()), bottom)};
}

} // namespace Pelgra
