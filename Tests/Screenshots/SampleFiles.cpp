#include "SampleFiles.h"

#include <QPainter>
#include <QPdfWriter>

#include <cmath>

namespace Pelgra {

void writePicture(const QString& file, QSize size, const char* format)
{
    QImage picture(size, QImage::Format_RGB32);
    QPainter painter(&picture);
    painter.setRenderHint(QPainter::Antialiasing);
    QLinearGradient sky(0, 0, 0, size.height());
    sky.setColorAt(0, QColor(64, 120, 200));
    sky.setColorAt(0.7, QColor(250, 200, 160));
    painter.fillRect(picture.rect(), sky);
    painter.setPen(Qt::NoPen);
    painter.setBrush(QColor(255, 240, 200));
    painter.drawEllipse(QPointF(size.width() * 0.7, size.height() * 0.4), size.width() * 0.09, size.width() * 0.09);
    for (int ridge = 0; ridge < 3; ++ridge) {
        QPolygonF hills({QPointF(0, size.height())});
        for (int x = 0; x <= size.width(); x += 4) {
            const double wave = std::sin(x * 6.0 / size.width() + ridge * 2) + 0.5 * std::sin(x * 17.0 / size.width());
            hills << QPointF(x, size.height() * (0.6 + ridge * 0.13 - wave * 0.06));
        }
        hills << QPointF(size.width(), size.height());
        painter.setBrush(QColor(70 - ridge * 20, 100 - ridge * 22, 110 - ridge * 25));
        painter.drawPolygon(hills);
    }
    painter.end();
    picture.save(file, format);
}

void writeDocument(const QString& file, int pages)
{
    QPdfWriter writer(file);
    writer.setPageSize(QPageSize(QPageSize::A4));
    writer.setResolution(72);
    QPainter painter(&writer);
    painter.setFont(QFont(QStringLiteral("Sans"), 26, QFont::Bold));
    for (int page = 1; page <= pages; ++page) {
        if (page > 1)
            writer.newPage();
        painter.drawText(20, 50, page == 1 ? QStringLiteral("Report") : QStringLiteral("Chapter %1").arg(page));
        for (int i = 0; i < 22; ++i)
            painter.fillRect(20, 80 + i * 16, 420 - ((i + page) * 53) % 90, 6, QColor(150, 155, 165));
        painter.fillRect(20, 460, 420, 150, QColor::fromHsl((190 + page * 25) % 360, 150, 140));
    }
}

} // namespace Pelgra
