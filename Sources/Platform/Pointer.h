#pragma once

#include <QPoint>

class QScreen;

namespace Pelgra {

class DragSource;

/// Where the pointer is, as far as the desktop tells, for every window of the application. Main thread. Points are in
/// Qt's global logical coordinates.
namespace Pointer {

/// Tells whom to ask; null for nobody. The source outlives its use here.
void follow(const DragSource* source);

/// The pointer, or the middle of the main screen while it is unknown.
QPoint place();

/// The screen of that place; null only without any screen.
QScreen* screen();

} // namespace Pointer

} // namespace Pelgra
