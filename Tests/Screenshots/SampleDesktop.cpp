#include "SampleDesktop.h"

#include <QPainter>
#include <QRandomGenerator>

namespace Pelgra {

SampleDesktop::SampleDesktop()
    : QWidget(nullptr, Qt::FramelessWindowHint | Qt::BypassWindowManagerHint)
{
    setGeometry(0, 0, tile * tileCount, tile);
}

void SampleDesktop::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.fillRect(0, 0, tile, tile, QColor(250, 250, 250));
    painter.fillRect(tile, 0, tile, tile, QColor(24, 26, 30));
    QLinearGradient sky(2 * tile, 0, 3 * tile, tile);
    sky.setColorAt(0, QColor(20, 60, 120));
    sky.setColorAt(0.5, QColor(220, 120, 60));
    sky.setColorAt(1, QColor(40, 90, 40));
    painter.fillRect(2 * tile, 0, tile, tile, sky);
    QRandomGenerator random(4);
    painter.setPen(Qt::NoPen);
    painter.setClipRect(2 * tile, 0, tile, tile);
    for (int i = 0; i < 60; ++i) {
        painter.setBrush(QColor::fromHsv(static_cast<int>(random.bounded(360)), 180, 200, 120));
        const double radius = random.bounded(80.0);
        painter.drawEllipse(QPointF(2 * tile + random.bounded(double(tile)), random.bounded(double(tile))), radius,
                            radius);
    }
    painter.setClipRect(3 * tile, 0, tile, tile);
    painter.fillRect(3 * tile, 0, tile, tile, Qt::white);
    painter.setPen(Qt::black);
    for (int y = 0; y < tile; y += 15) {
        QString line;
        for (int i = 0; i < 60; ++i)
            line += QChar(u'a' + static_cast<char16_t>(random.bounded(26)));
        painter.drawText(3 * tile - 10, y, line);
    }
    painter.fillRect(3 * tile + tile / 2, 0, tile / 2, tile / 3, QColor(30, 30, 30));
}

} // namespace Pelgra
