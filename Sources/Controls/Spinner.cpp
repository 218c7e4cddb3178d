#include "Controls/Spinner.h"

#include "Desktop/Motion.h"

#include <QPainter>

namespace Pelgra {

namespace {

constexpr int spokes = 8;
constexpr int millisecondsPerStep = 100;

} // namespace

Spinner::Spinner(int diameter, QWidget* parent)
    : QWidget(parent)
{
    setFixedSize(diameter, diameter);
    m_timer.setInterval(millisecondsPerStep);
    connect(&m_timer, &QTimer::timeout, this, [this] {
        if (Motion::isReduced())
            return; // the desktop may change its mind meanwhile
        m_step = (m_step + 1) % spokes;
        update();
    });
}

void Spinner::setColor(const QColor& color)
{
    m_color = color;
    update();
}

void Spinner::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.translate(rect().center() + QPointF(0.5, 0.5));
    const double radius = width() / 2.0;
    QColor color = m_color.isValid() ? m_color : palette().color(QPalette::WindowText);
    for (int spoke = 0; spoke < spokes; ++spoke) {
        const int age = (m_step - spoke + spokes) % spokes;
        color.setAlphaF(static_cast<float>(0.9 - 0.65 * age / (spokes - 1)));
        painter.save();
        painter.rotate(360.0 / spokes * spoke);
        painter.setPen(QPen(color, radius * 0.24, Qt::SolidLine, Qt::RoundCap));
        painter.drawLine(QPointF(0, -radius * 0.46), QPointF(0, -radius * 0.84));
        painter.restore();
    }
}

void Spinner::showEvent(QShowEvent* event)
{
    m_timer.start();
    QWidget::showEvent(event);
}

void Spinner::hideEvent(QHideEvent* event)
{
    m_timer.stop();
    QWidget::hideEvent(event);
}

} // namespace Pelgra
