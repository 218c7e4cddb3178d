#pragma once

#include <QRect>
#include <QSize>

class QPainterPath;
class QWidget;

namespace Pelgra {

class Platform;

/// Where small windows go, for those who make them and know no platform. Main thread.
namespace Placement {

/// Tells whom to ask; null for nobody, then the toolkit places them. The platform outlives its use here.
void follow(Platform* platform);

/// See Platform::place.
void place(QWidget& window, QRect geometry);

/// See Platform::placeAtEdge.
void placeAtEdge(QWidget& window, QSize size, int distance);

/// See Platform::setInputArea.
void setInputArea(QWidget& window, const QPainterPath& area);

} // namespace Placement

} // namespace Pelgra
