#include "Wheel/TargetRules.h"

#include "Wheel/WheelPetal.h"

#include <algorithm>
#include <cmath>

namespace Pelgra::TargetRules {

namespace {

/// From the pointer to the edge of the targets' surroundings.
constexpr int distance = 40;

/// From there to a pointer that is well away.
constexpr int reach = 240;

} // namespace

std::vector<WheelKind> kindsFor(std::span<const std::filesystem::path> files)
{
    std::vector<WheelKind> kinds;
    for (const WheelKind kind : {WheelKind::convert, WheelKind::tools}) {
        if (!WheelPetal::petalsFor(kind, files).empty())
            kinds.push_back(kind);
    }
    return kinds;
}

QSize sizeOf(std::size_t count, bool isColumn)
{
    constexpr int side = diameter + 2 * surroundings;
    const int length = side * static_cast<int>(count);
    return isColumn ? QSize(side, length) : QSize(length, side);
}

std::optional<QRect> besidePointer(QPoint pointer, QSize size, const QRect& area)
{
    const QRect inner = area.adjusted(fromEdge, fromEdge, -fromEdge, -fromEdge);
    const int right = inner.x() + inner.width() - size.width(); // the last place that fits
    const int bottom = inner.y() + inner.height() - size.height();
    const int besideX = std::max(inner.x(), std::min(pointer.x() - size.width() / 2, right));
    const int besideY = std::max(inner.y(), std::min(pointer.y() - size.height() / 2, bottom));
    const QPoint corners[] = {
        {besideX, std::min(pointer.y() - distance - size.height(), bottom)},
        {besideX, std::max(pointer.y() + distance, inner.y())},
        {std::max(pointer.x() + distance, inner.x()), besideY},
        {std::min(pointer.x() - distance - size.width(), right), besideY},
    };
    for (const QPoint corner : corners) {
        if (inner.contains(QRect(corner, size)))
            return QRect(corner, size);
    }
    return std::nullopt;
}

bool isWellAway(QPoint pointer, const QRect& targets)
{
    const int x = std::max({targets.left() - pointer.x(), pointer.x() - targets.right(), 0});
    const int y = std::max({targets.top() - pointer.y(), pointer.y() - targets.bottom(), 0});
    return std::hypot(x, y) > reach;
}

} // namespace Pelgra::TargetRules
