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

/// As keymaps name the left one of the pair.
QString keymapNameOf(ModifierKey key)
{
    switch (key) {
    case ModifierKey::shift:
        return QStringLiteral("Shift_L");
    case ModifierKey::command:
        return QStringLiteral("Super_L");
    case ModifierKey::option:
        return QStringLiteral("Alt_L");
    case ModifierKey::control:
        return QStringLiteral("Control_L");
    case ModifierKey::function:
        return QStringLiteral("ISO_Level3_Shift");
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
    if (!abilities.hasGesture() && abilities.seesDrags && abilities.step == DesktopAbilities::Step::bindKeys)
        return QStringLiteral("Dragging needs one more step: let the compositor tell Pelgra of keys");
    if (!abilities.hasGesture())
        return QStringLiteral("Right-click files and choose Convert with Pelgra");
    if (keys.convert == keys.tools)
        return QStringLiteral("Drag files and tap %1").arg(keyboardNameOf(keys.convert));
    return QStringLiteral("Drag files and tap %1 or %2").arg(keyboardNameOf(keys.convert), keyboardNameOf(keys.tools));
}

QString keyBindingsFor(const DesktopAbilities& abilities, WheelKeys keys)
{
    QString line = QStringLiteral("pelgra tap %2");
    if (abilities.compositor == "sway")
        line = QStringLiteral("bindsym --no-repeat %1 exec pelgra tap %2");
    else if (abilities.compositor == "labwc")
        line = QStringLiteral("<keybind key=\"%1\"><action name=\"Execute\" command=\"pelgra tap %2\"/></keybind>");
    const auto lineFor = [&line](ModifierKey key, QLatin1StringView wheel) {
        return QString(line).replace(QLatin1String("%1"), keymapNameOf(key)).replace(QLatin1String("%2"), wheel);
    };
    const QString convert = lineFor(keys.convert, QLatin1StringView("convert"));
    return keys.convert == keys.tools ? convert
                                      : convert + QLatin1Char('\n') + lineFor(keys.tools, QLatin1StringView("tools"));
}

} // namespace Pelgra::ThisDesktop
