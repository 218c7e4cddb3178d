#include "Wheel/WheelModifiers.h"

#include <QKeyEvent>

#include <optional>

namespace Pelgra {

namespace {

std::optional<ModifierKey> modifierOf(int key)
{
    switch (key) {
    case Qt::Key_Shift:
        return ModifierKey::shift;
    case Qt::Key_Control:
        return ModifierKey::control;
    case Qt::Key_Alt:
        return ModifierKey::option;
    case Qt::Key_Meta:
    case Qt::Key_Super_L:
    case Qt::Key_Super_R:
        return ModifierKey::command;
    case Qt::Key_AltGr:
    case Qt::Key_Mode_switch:
        return ModifierKey::function;
    default:
        return std::nullopt;
    }
}

} // namespace

ModifierFlags modifierFlagsOf(Qt::KeyboardModifiers modifiers)
{
    ModifierFlags flags = 0;
    if (modifiers.testFlag(Qt::ShiftModifier))
        flags |= flagOf(ModifierKey::shift);
    if (modifiers.testFlag(Qt::ControlModifier))
        flags |= flagOf(ModifierKey::control);
    if (modifiers.testFlag(Qt::AltModifier))
        flags |= flagOf(ModifierKey::option);
    if (modifiers.testFlag(Qt::MetaModifier))
        flags |= flagOf(ModifierKey::command);
    if (modifiers.testFlag(Qt::GroupSwitchModifier))
        flags |= flagOf(ModifierKey::function);
    return flags;
}

bool isModifier(const QKeyEvent& event)
{
    return modifierOf(event.key()).has_value();
}

ModifierFlags modifierFlagsAfter(const QKeyEvent& event)
{
    ModifierFlags flags = modifierFlagsOf(event.modifiers());
    // Platforms disagree on whether a modifier's own event counts it already.
    if (const std::optional<ModifierKey> own = modifierOf(event.key())) {
        if (event.type() == QEvent::KeyPress)
            flags |= flagOf(*own);
        else
            flags &= ~flagOf(*own);
    }
    return flags;
}

} // namespace Pelgra
