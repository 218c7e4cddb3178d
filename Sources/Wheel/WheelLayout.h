#pragma once

#include <QPainterPath>
#include <QPoint>
#include <QPointF>
#include <QRectF>
#include <QTransform>

#include <optional>

class QRect;
class QSize;

namespace Pelgra {

/// The geometry of the wheel: a ring of equal sectors (petals) around a centre, separated by straight gaps, each with
/// four rounded corners. Lengths are logical pixels, angles radians. The origin is the wheel's centre and y points up;
/// wheelToView() and wheelPointAt() are the only way between this and Qt's y-down widgets.
struct WheelLayout {
    int petalCount = 0;
    double outerRadius = 136;
    double innerRadius = 52;
    double gap = 4; ///< full width between neighbouring petals
    double cornerRadius = 12; ///< as asked for; thin rings get less
    double ringPadding = 7; ///< what the ring's backdrop and the window's shape add on either side

    bool operator==(const WheelLayout&) const = default;

    /// The standard wheel; from 7 petals on the corners are rounded less.
    static WheelLayout forPetalCount(int count);

    /// The angle a petal takes up; 0 without petals.
    double step() const;
    /// The direction of a petal's middle: petal 0 is at the top, the others follow clockwise.
    double midAngle(int petal) const;
    /// The point at a distance from the centre along a petal's middle.
    QPointF pointOnAxis(int petal, double distance) const;
    /// Where a petal's label is centred: a little outside the middle of the ring.
    QPointF labelPoint(int petal) const;
    /// Wheels of more than six petals have smaller labels.
    bool isDense() const { return petalCount > 6; }

    /// The outline of a petal. A single petal is the whole ring, two circles to be filled by the even-odd rule.
    QPainterPath pathForPetal(int petal) const;
    /// The ring with its padding on both sides, even-odd; a full disc when the padding fills the hole.
    QPainterPath ringPath() const;

    /// The petal whose sector holds the point; gaps and rounded corners count too. Both radii are inclusive, a point
    /// on the boundary of two sectors belongs to the clockwise one.
    std::optional<int> petalIndexAt(QPointF point) const;
};

/// Maps wheel coordinates (y up) into a view (y down) whose middle is the wheel's centre.
QTransform wheelToView(const QRectF& viewBounds);

/// The wheel coordinates of a point of the view: the way back.
QPointF wheelPointAt(QPointF viewPoint, const QRectF& viewBounds);

/// The top left corner of a panel centred on a point and moved into the screen. Screen coordinates, y down. On a screen
/// smaller than the panel the right and bottom edges win.
QPoint panelOriginFor(QPoint center, const QSize& panel, const QRect& screen);

} // namespace Pelgra
