#pragma once

#include "Settings/ModifierKey.h"

#include <Qt>

class QKeyEvent;

namespace Pelgra {

/// The same modifiers in our bits.
ModifierFlags modifierFlagsOf(Qt::KeyboardModifiers modifiers);

/// Whether the key is itself a modifier.
bool isModifier(const QKeyEvent& event);

/// The modifiers that are down once this key event has happened, its own key included.
ModifierFlags modifierFlagsAfter(const QKeyEvent& event);

} // namespace Pelgra
