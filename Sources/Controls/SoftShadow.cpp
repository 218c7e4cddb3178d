#include "Controls/SoftShadow.h"

#include <QImage>
#include <QPaintDevice>
#include <QPainter>
#include <QPixmap>
#include <QPixmapCache>

#include <algorithm>
#include <cmath>

namespace Pelgra {

namespace {

/// How far a point lies outside a rounded rectangle around the origin; negative inside.
double distanceOutside(double x, double y, double halfWidth, double halfHeight, double radius)
{
    const double dx = std::abs(x) - (halfWidth - radius);
    const double dy = std::abs(y) - (halfHeight - radius);
    return std::hypot(std::max(dx, 0.0), std::max(dy, 0.0)) + std::min(std::max(dx, dy), 0.0) - radius;
}

/// The shadow in the middle of a picture with a margin on each side. Exact for a straight edge blurred by a Gaussian,
/// and close to it around corners that are rounder than the blur.
QImage render(QSizeF shape, double radius, double blur, double margin, const QColor& color, double scale)
{
    const int width = static_cast<int>(std::ceil((shape.width() + 2 * margin) * scale));
    const int height = static_cast<int>(std::ceil((shape.height() + 2 * margin) * scale));
    QImage image(width, height, QImage::Format_ARGB32_Premultiplied);
    const double spread = std::max(blur / 2, 0.01) * std::sqrt(2.0);
    for (int row = 0; row < height; ++row) {
        auto* line = reinterpret_cast<QRgb*>(image.scanLine(row));
        for (int column = 0; column < width; ++column) {
            const double x = (column + 0.5) / scale - margin - shape.width() / 2;
            const double y = (row + 0.5) / scale - margin - shape.height() / 2;
            const double distance = distanceOutside(x, y, shape.width() / 2, shape.height() / 2, radius);
            const double share = std::erfc(distance / spread) / 2;
            line[column] = qPremultiply(qRgba(color.red(), color.green(), color.blue(), qRound(color.alpha() * share)));
        }
    }
    return image;
}

} // namespace

void SoftShadow::paint(QPainter& painter, const QRectF& shape, double cornerRadius) const
{
    const double scale = painter.device()->devicePixelRatioF();
    const double margin = std::ceil(blur * 1.5) + 1;
    const QString key = QStringLiteral("shadow %1 %2 %3 %4 %5 %6")
                            .arg(shape.width())
                            .arg(shape.height())
                            .arg(cornerRadius)
                            .arg(blur)
                            .arg(color.name(QColor::HexArgb))
                            .arg(scale);
    QPixmap pixmap;
    if (!QPixmapCache::find(key, &pixmap)) {
        pixmap = QPixmap::fromImage(render(shape.size(), cornerRadius, blur, margin, color, scale));
        pixmap.setDevicePixelRatio(scale);
        QPixmapCache::insert(key, pixmap);
    }
    painter.drawPixmap(shape.topLeft() + offset - QPointF(margin, margin), pixmap);
}

} // namespace Pelgra
