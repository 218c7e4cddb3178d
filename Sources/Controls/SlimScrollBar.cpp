#include "Controls/SlimScrollBar.h"

#include "Controls/ToolButtons.h"

#include <QPainter>
#include <QStyle>
#include <QStyleOptionSlider>

namespace Pelgra {

SlimScrollBar::SlimScrollBar(QWidget* parent)
    : QScrollBar(Qt::Vertical, parent)
{
    setAttribute(Qt::WA_Hover);
}

QSize SlimScrollBar::sizeHint() const
{
    return {extent, QScrollBar::sizeHint().height()};
}

void SlimScrollBar::paintEvent(QPaintEvent*)
{
    QStyleOptionSlider option;
    initStyleOption(&option);
    // Where the style puts the thumb, so that what is seen is what is hit.
    const QRectF thumb =
        QRectF(style()->subControlRect(QStyle::CC_ScrollBar, &option, QStyle::SC_ScrollBarSlider, this))
            .adjusted(2, 1, -2, -1);
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(primaryColor(*this, isSliderDown() ? 0.55 : underMouse() ? 0.42 : 0.26));
    painter.drawRoundedRect(thumb, thumb.width() / 2, thumb.width() / 2);
}

} // namespace Pelgra
