#include "Pictures/FileIcons.h"

#include "Support/BackgroundTask.h"
#include "Support/Paths.h"

#include <QFont>
#include <QGuiApplication>
#include <QIcon>
#include <QMimeDatabase>
#include <QPainter>
#include <QPainterPath>
#include <QThreadPool>

namespace Pelgra::FileIcons {

namespace {

QImage fromTheme(const QMimeType& type, int pixels)
{
    for (const QString& name : {type.iconName(), type.genericIconName(), QStringLiteral("text-x-generic")}) {
        const QPixmap pixmap = QIcon::fromTheme(name).pixmap(QSize(pixels, pixels), 1.0);
        if (pixmap.isNull())
            continue;
        QImage square(pixels, pixels, QImage::Format_ARGB32_Premultiplied);
        square.fill(Qt::transparent);
        // Themes without this size give the nearest one.
        const QSize size = pixmap.size().scaled(square.size(), Qt::KeepAspectRatio);
        QPainter painter(&square);
        painter.setRenderHint(QPainter::SmoothPixmapTransform);
        painter.drawPixmap(QRect(QPoint((pixels - size.width()) / 2, (pixels - size.height()) / 2), size), pixmap);
        return square;
    }
    return {};
}

/// A sheet with a folded corner, drawn on a grid of 64.
QImage sheetOfPaper(const QString& extension, int pixels)
{
    QImage image(pixels, pixels, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.scale(pixels / 64.0, pixels / 64.0);
    QPainterPath sheet(QPointF(38, 6));
    sheet.lineTo(18, 6);
    sheet.quadTo(13, 6, 13, 11);
    sheet.lineTo(13, 53);
    sheet.quadTo(13, 58, 18, 58);
    sheet.lineTo(46, 58);
    sheet.quadTo(51, 58, 51, 53);
    sheet.lineTo(51, 19);
    sheet.closeSubpath();
    painter.setPen(QPen(QColor(150, 158, 170), 1.5, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    painter.setBrush(QColor(244, 246, 249));
    painter.drawPath(sheet);
    painter.setBrush(QColor(214, 219, 227));
    painter.drawPolygon(QPolygonF({{38, 6}, {38, 19}, {51, 19}}));
    QFont font = QGuiApplication::font();
    font.setPixelSize(extension.size() > 4 ? 8 : 11);
    font.setWeight(QFont::Bold);
    painter.setFont(font);
    painter.setPen(QColor(90, 98, 112));
    painter.drawText(QRectF(14, 24, 36, 18), Qt::AlignCenter, extension);
    return image;
}

} // namespace

QImage iconFor(const std::filesystem::path& file, int pixels)
{
    const QString name = textFromPath(file.filename());
    const QMimeType type = QMimeDatabase().mimeTypeForFile(name, QMimeDatabase::MatchExtension);
    const QImage icon = fromTheme(type, pixels);
    if (!icon.isNull())
        return icon;
    return sheetOfPaper(textFromPath(file.extension()).mid(1, 5).toUpper(), pixels);
}

void warmUp()
{
    utilityPool().start(
        [] { QMimeDatabase().mimeTypeForFile(QStringLiteral("a.pdf"), QMimeDatabase::MatchExtension); });
}

} // namespace Pelgra::FileIcons
