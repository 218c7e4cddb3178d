#pragma once

class QPainterPath;
class QWidget;

namespace Pelgra {

class Platform;

/// Whether windows may be translucent, which every window of the application needs to know. Main thread.
namespace Compositing {

/// Sets whom to ask; null for nobody. The platform outlives its use here.
void follow(Platform* platform);

/// Whether translucent windows and fading work now; false while nobody can tell.
bool isActive();

/// As Platform::setOutline().
void setOutline(QWidget& window, const QPainterPath& outline);

} // namespace Compositing

} // namespace Pelgra
