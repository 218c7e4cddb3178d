#include "Platform/Placement.h"

#include "Platform/Platform.h"

#include <QWidget>

namespace Pelgra::Placement {

namespace {

Platform* followed = nullptr;

} // namespace

void follow(Platform* platform)
{
    followed = platform;
}

void place(QWidget& window, QRect geometry)
{
    if (followed)
        followed->place(window, geometry);
    else
        window.setGeometry(geometry);
}

void placeAtEdge(QWidget& window, QSize size, int distance)
{
    if (followed)
        followed->placeAtEdge(window, size, distance);
    else
        window.resize(size);
}

void setInputArea(QWidget& window, const QPainterPath& area)
{
    if (followed)
        followed->setInputArea(window, area);
}

} // namespace Pelgra::Placement
