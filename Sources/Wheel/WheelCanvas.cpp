#include "Wheel/WheelCanvas.h"

#include "Wheel/WheelDrawing.h"
#include "Wheel/WheelView.h"

#include <QImage>
#include <QPainter>
#include <QPaintEvent>

namespace Pelgra {

WheelCanvas::WheelCanvas(WheelView* owner)
    : QWidget(owner)
    , m_owner(owner)
{
    setAttribute(Qt::WA_TransparentForMouseEvents);
    setFocusPolicy(Qt::NoFocus);
}

void WheelCanvas::paintEvent(QPaintEvent* event)
{
    // Several translucent layers lie upon each other; with 8 bits each would be rounded, and the soft gradients would
    // show stripes. 16 bits cost no more time here.
    const double scale = devicePixelRatioF();
    QImage layer(size() * scale, QImage::Format_RGBA64_Premultiplied);
    layer.setDevicePixelRatio(scale);
    layer.fill(Qt::transparent);
    QPainter layerPainter(&layer);
    layerPainter.setClipRegion(event->region());
    WheelDrawing::paintBackdrop(layerPainter, m_owner->content(), rect());
    WheelDrawing::paintWheel(layerPainter, m_owner->content(), rect(), event->rect());
    layerPainter.end();
    QPainter(this).drawImage(0, 0, layer);
}

} // namespace Pelgra
