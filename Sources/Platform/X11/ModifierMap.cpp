#include "Platform/X11/ModifierMap.h"

#include <algorithm>
#include <array>
#include <span>
#include <utility>

namespace Pelgra {

namespace {

// Keysyms of the X protocol.
constexpr std::uint32_t shiftLeft = 0xffe1;
constexpr std::uint32_t shiftRight = 0xffe2;
constexpr std::uint32_t controlLeft = 0xffe3;
constexpr std::uint32_t controlRight = 0xffe4;
constexpr std::uint32_t altLeft = 0xffe9;
constexpr std::uint32_t altRight = 0xffea;
constexpr std::uint32_t superLeft = 0xffeb;
constexpr std::uint32_t superRight = 0xffec;
constexpr std::uint32_t levelThreeShift = 0xfe03;

struct KeySymbols {
    ModifierFlags flag;
    std::array<std::uint32_t, 2> symbols;
};

constexpr std::array keySymbols{
    KeySymbols{shiftFlag, {shiftLeft, shiftRight}},
    KeySymbols{controlFlag, {controlLeft, controlRight}},
    KeySymbols{optionFlag, {altLeft, altRight}},
    KeySymbols{commandFlag, {superLeft, superRight}},
    KeySymbols{functionFlag, {levelThreeShift, levelThreeShift}},
};

constexpr unsigned modifierCount = 8;
constexpr unsigned shiftBit = 1U << 0;
constexpr unsigned lockBit = 1U << 1;
constexpr unsigned controlBit = 1U << 2;

/// The first three bits have a fixed meaning in the protocol, whatever else is bound to them.
bool mayStandFor(ModifierFlags flag, unsigned bit)
{
    if (bit == shiftBit)
        return flag == shiftFlag;
    if (bit == controlBit)
        return flag == controlFlag;
    return bit != lockBit;
}

} // namespace

bool KeyboardMap::isBoundTo(std::uint8_t keycode, std::uint32_t symbol) const
{
    if (keycode < firstKeycode)
        return false;
    const std::size_t begin = (std::size_t{keycode} - firstKeycode) * symbolsPerKeycode;
    if (begin + symbolsPerKeycode > symbols.size())
        return false;
    const std::span row = std::span(symbols).subspan(begin, symbolsPerKeycode);
    return std::ranges::find(row, symbol) != row.end();
}

std::vector<std::uint8_t> KeyboardMap::keycodesOf(std::uint32_t symbol) const
{
    std::vector<std::uint8_t> keycodes;
    for (unsigned keycode = firstKeycode; keycode <= 255; ++keycode) {
        if (isBoundTo(static_cast<std::uint8_t>(keycode), symbol))
            keycodes.push_back(static_cast<std::uint8_t>(keycode));
    }
    return keycodes;
}

ModifierMap::ModifierMap(const KeyboardMap& keyboard)
{
    for (const KeySymbols& wanted : keySymbols) {
        Entry entry{0, wanted.flag, {}};
        for (std::uint32_t symbol : wanted.symbols) {
            for (std::uint8_t keycode : keyboard.keycodesOf(symbol))
                entry.keycodes.push_back(keycode);
        }
        for (unsigned modifier = 0; modifier < modifierCount; ++modifier) {
            const unsigned bit = 1U << modifier;
            if (!mayStandFor(wanted.flag, bit))
                continue;
            for (std::size_t i = 0; i < keyboard.keycodesPerModifier; ++i) {
                const std::size_t index = modifier * keyboard.keycodesPerModifier + i;
                if (index >= keyboard.modifierKeycodes.size())
                    break;
                const std::uint8_t keycode = keyboard.modifierKeycodes[index];
                if (keycode != 0 && std::ranges::any_of(wanted.symbols, [&](std::uint32_t symbol) {
                        return keyboard.isBoundTo(keycode, symbol);
                    }))
                    entry.mask |= bit;
            }
        }
        m_entries.push_back(std::move(entry));
    }
}

ModifierFlags ModifierMap::flagsOf(unsigned mask) const
{
    ModifierFlags flags = 0;
    for (const Entry& entry : m_entries) {
        if ((mask & entry.mask) != 0)
            flags |= entry.flag;
    }
    return flags;
}

ModifierFlags ModifierMap::flagsOfKey(std::uint8_t keycode) const
{
    ModifierFlags flags = 0;
    for (const Entry& entry : m_entries) {
        if (std::ranges::find(entry.keycodes, keycode) != entry.keycodes.end())
            flags |= entry.flag;
    }
    return flags;
}

} // namespace Pelgra
