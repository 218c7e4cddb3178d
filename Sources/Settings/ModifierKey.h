#pragma once

#include "Platform/ModifierFlags.h"

#include <QString>
#include <QStringView>

#include <array>
#include <cstdint>
#include <optional>

namespace Pelgra {

/// A key that opens a wheel. On a PC keyboard command is Super, option is Alt and function is AltGr.
enum class ModifierKey : std::uint8_t { shift, command, option, control, function };

/// The keys in the order in which Settings lists them.
inline constexpr std::array allModifierKeys{ModifierKey::shift, ModifierKey::command, ModifierKey::option,
                                            ModifierKey::control, ModifierKey::function};

/// The text that is stored: "shift", "command" and so on.
QString rawValueOf(ModifierKey key);

/// The key with exactly this raw value (case-sensitive), or none.
std::optional<ModifierKey> modifierKeyFromRawValue(QStringView rawValue);

/// "⇧", "⌘", "⌥", "⌃" or "fn".
QString symbolOf(ModifierKey key);

/// "Shift", "Command" and so on.
QString nameOf(ModifierKey key);

/// Symbol, two spaces, name: the text of a picker.
QString pickerLabelOf(ModifierKey key);

/// The one bit of this key.
ModifierFlags flagOf(ModifierKey key);

/// Which key opens which wheel.
struct WheelKeys {
    ModifierKey convert = ModifierKey::shift;
    ModifierKey tools = ModifierKey::command;

    bool operator==(const WheelKeys&) const = default;
};

} // namespace Pelgra
