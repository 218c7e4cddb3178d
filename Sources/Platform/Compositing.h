#pragma once

#include <QRegion>
#include <QSize>

class QPainterPath;

namespace Pelgra {

class WheelSurface;

/// Whether windows may be translucent, which every window of the application needs to know. Main thread.
namespace Compositing {

/// Sets whom to ask; null for nobody. The surface outlives its use here.
void follow(const WheelSurface* surface);

/// Whether translucent windows and fading work now; false while nobody can tell.
bool isActive();

/// The mask that cuts a window of this size to a shape where nothing composites.
QRegion maskFor(const QPainterPath& shape, QSize size);

} // namespace Compositing

} // namespace Pelgra
