#include "Platform/Null/NullPlatform.h"

#include <QCursor>
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

void NullWheelSurface::setInputRegion(const QRegion& logical)
{
    if (m_panel != nullptr)
        m_panel->setMask(logical);
}

} // namespace Pelgra
