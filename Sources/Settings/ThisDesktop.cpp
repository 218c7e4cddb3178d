#include "Settings/ThisDesktop.h"

#include "Platform/Platform.h"

namespace Pelgra::ThisDesktop {

namespace {

const Platform* followed = nullptr;

/// As it is printed on a keyboard of a PC.
QString keyboardNameOf(ModifierKey key)
{
    switch (key) {
    case ModifierKey::shift:
        return QStringLiteral("Shift");
    case ModifierKey::command:
        return QStringLiteral("Super");
    case ModifierKey::option:
        return QStringLiteral("Alt");
    case ModifierKey::control:
        return QStringLiteral("Ctrl");
    case ModifierKey::function:
        return QStringLiteral("AltGr");
    }
    return {};
}

} // namespace

void follow(const Platform* platform)
{
    followed = platform;
}

DesktopAbilities abilities()
{
    if (followed)
        return followed->abilities();
    DesktopAbilities everything;
    everything.seesDrags = true;
    everything.seesKeys = true;
    return everything;
}

QString sentenceFor(const DesktopAbilities& abilities, WheelKeys keys)
{
    if (!abilities.hasGesture() && abilities.step == DesktopAbilities::Step::showKeysToX11)
        return QStringLiteral("Dragging needs one more step: let legacy X11 apps read modifier keys");
    if (!abilities.hasGesture())
        return QStringLiteral("Right-click files and choose Convert with Pelgra");
    if (keys.convert == keys.tools)
        return QStringLiteral("Drag files and tap %1").arg(keyboardNameOf(keys.convert));
    return QStringLiteral("Drag files and tap %1 or %2").arg(keyboardNameOf(keys.convert), keyboardNameOf(keys.tools));
}

} // namespace Pelgra::ThisDesktop
