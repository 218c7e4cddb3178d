#pragma once

#include "Platform/ModifierFlags.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace Pelgra {

/// The keyboard as the X server describes it to a core client.
struct KeyboardMap {
    std::uint8_t firstKeycode = 8;
    std::size_t symbolsPerKeycode = 0;
    std::vector<std::uint32_t> symbols; ///< keysyms, a row for each keycode from the first on
    std::size_t keycodesPerModifier = 0;
    std::vector<std::uint8_t> modifierKeycodes; ///< a row for each of the eight modifier bits; 0 where unused

    bool isBoundTo(std::uint8_t keycode, std::uint32_t symbol) const;
    std::vector<std::uint8_t> keycodesOf(std::uint32_t symbol) const;
};

/// Which bits of an X modifier mask stand for which key. Found by what the bound keys type, since the bits of
/// Alt, Super and the third-level shift differ between keyboards and users.
class ModifierMap {
public:
    ModifierMap() = default;
    explicit ModifierMap(const KeyboardMap& keyboard);

    /// The keys that are down in an X modifier mask (the low eight bits count).
    ModifierFlags flagsOf(unsigned mask) const;

    /// What this key is; none for other keys.
    ModifierFlags flagsOfKey(std::uint8_t keycode) const;

private:
    struct Entry {
        unsigned mask = 0;
        ModifierFlags flag = 0;
        std::vector<std::uint8_t> keycodes;
    };
    std::vector<Entry> m_entries;
};

} // namespace Pelgra
