#pragma once

#include "Platform/DesktopAbilities.h"
#include "Settings/ModifierKey.h"

#include <QObject>
#include <QString>

namespace Pelgra {

class Platform;

/// What the user is told about Pelgra in this session. Main thread.
namespace ThisDesktop {

/// Tells of itself when what works has changed.
class Changes : public QObject {
    Q_OBJECT

Q_SIGNALS:
    void happened();
};

/// Tells whom to ask; null for nobody, then the session is taken to do everything. The platform outlives its use here,
/// and its onAbilitiesChanged is taken.
void follow(Platform* platform);

DesktopAbilities abilities();

/// Lives as long as the process.
Changes& changes();

/// Does what the abilities propose. What comes of it shows in changed abilities.
void takeStep(DesktopAbilities::Step step);

/// The words of a button for that; empty for none.
QString titleFor(DesktopAbilities::Step step);

/// One line: the way that works here, or what it takes. With targets no key is needed.
QString sentenceFor(const DesktopAbilities& abilities, WheelKeys keys, bool showsTargets = false);

/// Where and when targets appear here.
QString targetsNoteFor(const DesktopAbilities& abilities);

/// What to add to the configuration of the compositor so that its keys open a wheel, for the step bindKeys; the bare
/// commands where its language is not known here. Left keys, since right ones are rarely tapped while dragging.
QString keyBindingsFor(const DesktopAbilities& abilities, WheelKeys keys);

} // namespace ThisDesktop

} // namespace Pelgra
