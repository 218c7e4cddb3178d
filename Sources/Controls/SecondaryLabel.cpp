#include "Controls/SecondaryLabel.h"

#include <QEvent>

namespace Pelgra {

SecondaryLabel::SecondaryLabel(const QString& text, QWidget* parent)
    : QLabel(text, parent)
{
    setForegroundRole(QPalette::PlaceholderText);
    takeColor();
}

QColor SecondaryLabel::colorFor(const QWidget& widget)
{
    QColor color = widget.palette().color(QPalette::Active, QPalette::WindowText);
    color.setAlphaF(0.62F);
    return color;
}

void SecondaryLabel::changeEvent(QEvent* event)
{
    QLabel::changeEvent(event);
    if (event->type() == QEvent::PaletteChange)
        takeColor();
}

void SecondaryLabel::takeColor()
{
    QPalette colors = palette();
    const QColor wanted = colorFor(*this);
    if (colors.color(QPalette::Active, QPalette::PlaceholderText) == wanted)
        return; // the change was this one
    colors.setColor(QPalette::PlaceholderText, wanted);
    setPalette(colors);
}

} // namespace Pelgra
