#include "Support/Compositing.h"

#include "Support/Platform/WheelSurface.h"

namespace Pelgra::Compositing {

namespace {

const WheelSurface* followed = nullptr;

} // namespace

void follow(const WheelSurface* surface)
{
    followed = surface;
}

bool isActive()
{
    return followed && followed->isCompositing();
}

} // namespace Pelgra::Compositing
