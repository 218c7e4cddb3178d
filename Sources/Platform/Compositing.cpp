#include "Platform/Compositing.h"

#include "Platform/Platform.h"

namespace Pelgra::Compositing {

namespace {

Platform* followed = nullptr;

} // namespace

void follow(Platform* platform)
{
    followed = platform;
}

bool isActive()
{
    return followed && followed->wheelSurface().isCompositing();
}

void setOutline(QWidget& window, const QPainterPath& outline)
{
    if (followed)
        followed->setOutline(window, outline);
}

} // namespace Pelgra::Compositing
