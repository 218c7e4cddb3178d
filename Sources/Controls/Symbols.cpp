#include "Controls/Symbols.h"

#include <QFile>
#include <QImage>
#include <QPainter>
#include <QPixmapCache>
#include <QSvgRenderer>

// Resources of a static library are registered on request only. The macro must stand outside of any namespace.
static void registerSymbols()
{
    Q_INIT_RESOURCE(symbols);
}

namespace Pelgra::Symbols {

namespace {

QString resource(const QString& name)
{
    static const bool registered = (registerSymbols(), true);
    Q_UNUSED(registered)
    return QStringLiteral(":/symbols/") + name;
}

QPixmap render(const QString& name, double pointSize, const QColor& color, double devicePixelRatio)
{
    QSvgRenderer renderer(resource(name));
    // The drawings have 24 units and keep 2 free on each side; the square shows the inner 20, so that a point size
    // of 20 meets the grid exactly.
    const QRectF box = renderer.viewBoxF().adjusted(2, 2, -2, -2);
    renderer.setViewBox(box);
    const int side = qRound(pointSize * devicePixelRatio);
    QImage image(side, side, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    renderer.render(&painter, QRectF(0, 0, side, side));
    painter.setCompositionMode(QPainter::CompositionMode_SourceIn);
    painter.fillRect(image.rect(), color);
    painter.end();
    QPixmap pixmap = QPixmap::fromImage(image);
    pixmap.setDevicePixelRatio(devicePixelRatio);
    return pixmap;
}

} // namespace

bool exists(const QString& name)
{
    return !name.isEmpty() && !name.contains(QLatin1Char('/')) && QFile::exists(resource(name));
}

QPixmap pixmap(const QString& name, double pointSize, const QColor& color, double devicePixelRatio)
{
    if (!exists(name))
        return {};
    const QString key = QStringLiteral("symbol %1 %2 %3 %4")
                            .arg(name)
                            .arg(pointSize)
                            .arg(color.name(QColor::HexArgb))
                            .arg(devicePixelRatio);
    QPixmap result;
    if (!QPixmapCache::find(key, &result)) {
        result = render(name, pointSize, color, devicePixelRatio);
        QPixmapCache::insert(key, result);
    }
    return result;
}

} // namespace Pelgra::Symbols
