#include "Wheel/WheelCanvas.h"

#include "Wheel/WheelDrawing.h"
#include "Wheel/WheelView.h"

#include <QImage>
#include <QPainter>
#include <QPaintEvent>
#include <QRgba64>

#include <array>
#include <cstdint>

namespace Pelgra {

namespace {

/// Thresholds of an ordered dither (Bayer, 8 by 8) in 1/256 of a step of an 8-bit channel.
constexpr std::array<std::array<std::uint8_t, 8>, 8> thresholds = [] {
    std::array<std::array<std::uint8_t, 8>, 8> table{};
    for (unsigned y = 0; y < 8; ++y) {
        for (unsigned x = 0; x < 8; ++x) {
            unsigned rank = 0;
            for (unsigned bit = 0; bit < 3; ++bit)
                rank |= (((x ^ y) >> bit & 1) << 1 | (y >> bit & 1)) << (2 * (2 - bit));
            table[y][x] = static_cast<std::uint8_t>(rank * 4 + 2);
        }
    }
    return table;
}();

/// A 16-bit channel as 8 bits; empty stays empty and full stays full at every threshold from 0 to 255.
unsigned narrowed(unsigned value, unsigned threshold)
{
    return (value - (value >> 8) + threshold) >> 8;
}

/// The pixels within `area` (in pixels) with 8 bits for each channel. All channels of a pixel share their threshold,
/// which keeps every colour within its alpha.
QImage dithered(const QImage& deep, const QRect& area)
{
    QImage result(area.size(), QImage::Format_ARGB32_Premultiplied);
    for (int y = 0; y < area.height(); ++y) {
        const auto* const from = reinterpret_cast<const QRgba64*>(deep.constScanLine(area.y() + y)) + area.x();
        auto* const to = reinterpret_cast<QRgb*>(result.scanLine(y));
        const std::array<std::uint8_t, 8>& row = thresholds[static_cast<std::size_t>(area.y() + y) % 8];
        for (int x = 0; x < area.width(); ++x) {
            const unsigned threshold = row[static_cast<std::size_t>(area.x() + x) % 8];
            const QRgba64 pixel = from[x];
            to[x] = narrowed(pixel.alpha(), threshold) << 24 | narrowed(pixel.red(), threshold) << 16
                | narrowed(pixel.green(), threshold) << 8 | narrowed(pixel.blue(), threshold);
        }
    }
    return result;
}

} // namespace

WheelCanvas::WheelCanvas(WheelView* owner)
    : QWidget(owner)
    , m_owner(owner)
{
    setAttribute(Qt::WA_TransparentForMouseEvents);
    setFocusPolicy(Qt::NoFocus);
}

void WheelCanvas::paintEvent(QPaintEvent* event)
{
    // Several translucent layers lie on top of each other; with 8 bits each would be rounded, and the soft gradients
    // would show bands. 16 bits cost no more time here.
    const double scale = devicePixelRatioF();
    QImage layer(size() * scale, QImage::Format_RGBA64_Premultiplied);
    layer.setDevicePixelRatio(scale);
    layer.fill(Qt::transparent);
    QPainter layerPainter(&layer);
    layerPainter.setClipRegion(event->region());
    WheelDrawing::paintBackdrop(layerPainter, m_owner->content(), rect());
    WheelDrawing::paintWheel(layerPainter, m_owner->content(), rect(), event->rect());
    layerPainter.end();
    const QRect device =
        QRectF(QPointF(event->rect().topLeft()) * scale, QSizeF(event->rect().size()) * scale).toAlignedRect();
    const QRect area = device.intersected(layer.rect());
    QImage shown = dithered(layer, area);
    shown.setDevicePixelRatio(scale);
    QPainter(this).drawImage(QPointF(area.topLeft()) / scale, shown);
}

} // namespace Pelgra
