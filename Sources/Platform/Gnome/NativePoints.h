#pragma once

#include <QPoint>

namespace Pelgra::NativePoints {

/// Qt's global logical coordinates of a point of the X server's root window. Main thread.
QPoint logicalOf(QPoint native);

/// Likewise of a point given as fractions of the width and height of all screens together.
QPoint logicalAt(double x, double y);

} // namespace Pelgra::NativePoints
