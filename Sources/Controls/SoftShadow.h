#pragma once

#include <QColor>
#include <QPointF>
#include <QRectF>

class QPainter;

namespace Pelgra {

/// The blurred shadow of a rounded rectangle. Lengths are logical pixels, y down.
struct SoftShadow {
    QColor color; ///< with the alpha of the shadow's darkest part
    QPointF offset; ///< from the shape to its shadow
    double blur = 0; ///< as designers give it: twice the standard deviation of the Gaussian

    /// Paints the shadow alone, under the shape too. Rendered once for each form and then kept.
    void paint(QPainter& painter, const QRectF& shape, double cornerRadius) const;
};

} // namespace Pelgra
