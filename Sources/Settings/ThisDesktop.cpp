#include "Settings/ThisDesktop.h"

#include "Desktop/SystemSettings.h"
#include "Platform/Platform.h"

namespace Pelgra::ThisDesktop {

namespace {

Platform* followed = nullptr;

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

/// Which may be one alone.
QString shortcutsOf(const DesktopAbilities& abilities)
{
    QStringList shortcuts;
    for (const std::string& shortcut : {abilities.convertShortcut, abilities.toolsShortcut}) {
        if (!shortcut.empty())
            shortcuts += QString::fromStdString(shortcut);
    }
    return QStringLiteral("Drag files and press %1").arg(shortcuts.join(QStringLiteral(" or ")));
}

} // namespace

void follow(Platform* platform)
{
    if (followed)
        followed->onAbilitiesChanged = nullptr;
    followed = platform;
    if (followed)
        followed->onAbilitiesChanged = [] {
            Q_EMIT changes().happened();
        };
}

Changes& changes()
{
    static Changes changes;
    return changes;
}

void takeStep(DesktopAbilities::Step step)
{
    if (step == DesktopAbilities::Step::showKeysToX11)
        SystemSettings::openLegacyApplications();
    else if (followed)
        followed->takeStep(step);
}

QString titleFor(DesktopAbilities::Step step)
{
    switch (step) {
    case DesktopAbilities::Step::none:
        break;
    case DesktopAbilities::Step::showKeysToX11:
        return QStringLiteral("Open System Settings…");
    case DesktopAbilities::Step::bindKeys:
        return QStringLiteral("Copy for Its Configuration");
    case DesktopAbilities::Step::enableExtension:
        return QStringLiteral("Switch On the GNOME Extension");
    case DesktopAbilities::Step::bindShortcuts:
        return QStringLiteral("Add Keyboard Shortcuts…");
    }
    return {};
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

QString targetsNoteFor(const DesktopAbilities& abilities)
{
    if (!abilities.seesDrags)
        return QStringLiteral("Not in this session, which tells of no drags.");
    if (abilities.seesPointer)
        return QStringLiteral("They appear beside the pointer; a drag onto one opens its wheel.");
    const QString atEdge =
        QStringLiteral("They appear near the right edge of the screen; a drag onto one opens its wheel.");
    if (abilities.seesFiles)
        return atEdge;
    return atEdge + QStringLiteral(" This session doesn’t tell what is dragged, so they come with drags of text too.");
}

QString sentenceFor(const DesktopAbilities& abilities, WheelKeys keys, bool showsTargets)
{
    if (!abilities.hasGesture() && abilities.seesDrags && !abilities.hasShortcuts() && showsTargets)
        return QStringLiteral("Drag files onto a target that appears at the edge of the screen");
    if (!abilities.hasGesture() && abilities.step == DesktopAbilities::Step::showKeysToX11)
        return QStringLiteral("Dragging needs one more step: let legacy X11 apps read modifier keys");
    if (!abilities.hasGesture() && abilities.seesDrags && abilities.step == DesktopAbilities::Step::bindKeys)
        return QStringLiteral("Dragging needs one more step: let the compositor tell Pelgra of keys");
    if (!abilities.hasGesture() && abilities.hasShortcuts())
        return shortcutsOf(abilities);
    if (!abilities.hasGesture() && abilities.step == DesktopAbilities::Step::enableExtension)
        return QStringLiteral("Dragging needs one more step: GNOME tells of keys pressed during a drag through an "
                              "extension, which is installed, or through keyboard shortcuts");
    if (!abilities.hasGesture() && abilities.otherStep == DesktopAbilities::Step::bindShortcuts)
        return QStringLiteral(
            "Dragging needs one more step: GNOME tells of keys pressed during a drag through keyboard "
            "shortcuts; or log out and in again, so that it finds the extension");
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
