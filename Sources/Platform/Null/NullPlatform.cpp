#include "Platform/Null/NullPlatform.h"

#include <QCursor>
#include <QTransform>
#include <QWidget>

namespace Pelgra {

QPoint NullDragSource::pointer() const
{
    return QCursor::pos();
}

void NullWheelSurface::attach(QWidget* panel, DropTarget*)
{
    m_panel = panel;
}

void NullWheelSurface::detach()
{
    m_panel = nullptr;
}

void NullWheelSurface::setInputRegion(const QRegion& pixels)
{
    if (m_panel == nullptr)
        return;
    const double scale = 1 / m_panel->devicePixelRatioF();
    m_panel->setMask(QTransform::fromScale(scale, scale).map(pixels));
}

} // namespace Pelgra
