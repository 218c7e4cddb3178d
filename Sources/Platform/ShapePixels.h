#pragma once

#include <QRegion>
#include <QSize>

class QPainterPath;

namespace Pelgra {

/// The pixels of a window whose middle lies inside a shape. The shape is given in logical pixels; the window has
/// `size` of these and takes `pixelRatio` pixels of the screen for each, rounded to whole ones. What is outside the
/// window is left out.
QRegion pixelsOf(const QPainterPath& shape, QSize size, double pixelRatio);

} // namespace Pelgra
