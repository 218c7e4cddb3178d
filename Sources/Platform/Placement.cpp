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

} // namespace Pelgra::Placement
