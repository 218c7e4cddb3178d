#include "Wheel/WheelCanvas.h"

#include "Wheel/WheelDrawing.h"
#include "Wheel/WheelView.h"

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
    QPainter painter(this);
    WheelDrawing::paintWheel(painter, m_owner->content(), rect(), event->rect());
}

} // namespace Pelgra
