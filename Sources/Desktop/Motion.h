#pragma once

#include <QObject>

/// Whether and how things move. Main thread.
namespace Pelgra::Motion {

/// Whether the desktop asks for reduced motion: animations switched off in its settings (read live through the settings
/// portal and the style), or PELGRA_REDUCED_MOTION set to 1.
bool isReduced();

/// Begins to follow the desktop's setting over the session bus; without a call, only the style and the environment are
/// asked. Does nothing without a session bus.
void followDesktop(QObject* context);

} // namespace Pelgra::Motion
