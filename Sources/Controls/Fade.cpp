#include "Controls/Fade.h"

#include <QGuiApplication>
#include <QPainter>
#include <QPaintEvent>
#include <QWidget>

namespace Pelgra {

namespace {

/// Lies above everything in a widget and takes away from what was painted below it.
class Veil : public QWidget {
public:
    Veil(QWidget* parent, const Fade& fade)
        : QWidget(parent)
        , m_fade(fade)
    {
        setAttribute(Qt::WA_TransparentForMouseEvents);
        setFocusPolicy(Qt::NoFocus);
    }

protected:
    void paintEvent(QPaintEvent* event) override
    {
        QPainter painter(this);
        painter.setCompositionMode(QPainter::CompositionMode_DestinationIn);
        QColor kept(Qt::black);
        kept.setAlphaF(static_cast<float>(m_fade.opacity()));
        painter.fillRect(event->rect(), kept);
    }

private:
    const Fade& m_fade;
};

} // namespace

Fade::Fade(QWidget* widget)
    : QObject(widget)
    , m_widget(widget)
{
}

bool Fade::isPainted() const
{
    return !m_widget->isWindow() || QGuiApplication::platformName().startsWith(QLatin1String("wayland"));
}

void Fade::setOpacity(double opacity)
{
    m_opacity = opacity;
    if (!isPainted()) {
        m_widget->setWindowOpacity(opacity);
        return;
    }
    if (!m_veil) {
        if (opacity >= 1)
            return;
        m_veil = new Veil(m_widget, *this);
    }
    m_veil->setGeometry(m_widget->rect());
    m_veil->raise();
    m_veil->setVisible(opacity < 1);
    m_veil->update();
}

} // namespace Pelgra
