#pragma once

#include "Platform/DesktopAbilities.h"
#include "Settings/ModifierKey.h"

#include <QString>

namespace Pelgra {

class Platform;

/// What the user is told about Pelgra in this session. Main thread.
namespace ThisDesktop {

/// Tells whom to ask; null for nobody, then the session is taken to do everything. The platform outlives its use here.
void follow(const Platform* platform);

DesktopAbilities abilities();

/// One line: the way that works here, or what it takes.
QString sentenceFor(const DesktopAbilities& abilities, WheelKeys keys);

/// What to add to the configuration of the compositor so that its keys open a wheel, for the step bindKeys; the bare
/// commands where its language is not known here. Left keys, since right ones are rarely tapped while dragging.
QString keyBindingsFor(const DesktopAbilities& abilities, WheelKeys keys);

} // namespace ThisDesktop

} // namespace Pelgra
