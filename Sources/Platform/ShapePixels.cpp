#include "Platform/ShapePixels.h"

#include <QBitmap>
#include <QPainter>
#include <QPainterPath>

namespace Pelgra {

QRegion pixelsOf(const QPainterPath& shape, QSize size, double pixelRatio)
{
    if (size.isEmpty())
        return {};
    const QSize window = size * pixelRatio;
    const QPainterPath scaled =
        QTransform::fromScale(double(window.width()) / size.width(), double(window.height()) / size.height())
            .map(shape);
    const QRect area = scaled.boundingRect().toAlignedRect() & QRect(QPoint(), window);
    if (area.isEmpty())
        return {};
    // Drawn, since a region made from the path's polygon has its corners on whole numbers and so an uneven edge.
    QBitmap pixels(area.size());
    pixels.clear();
    QPainter painter(&pixels);
    painter.translate(-area.topLeft());
    painter.fillPath(scaled, Qt::color1);
    painter.end();
    return QRegion(pixels).translated(area.topLeft());
}

} // namespace Pelgra
