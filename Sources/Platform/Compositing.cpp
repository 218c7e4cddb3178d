#include "Platform/Compositing.h"

#include "Platform/WheelSurface.h"

#include <QBitmap>
#include <QPainter>
#include <QPainterPath>

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

QRegion maskFor(const QPainterPath& shape, QSize size)
{
    // Drawn, since a region made from the path's polygon has straight cuts at its right and lower corners.
    QBitmap mask(size);
    mask.clear();
    QPainter(&mask).fillPath(shape, Qt::color1);
    return QRegion(mask);
}

} // namespace Pelgra::Compositing
