#pragma once

#include <cstdint>

namespace Pelgra {

/// A set of modifier bits, the same on every platform. Bits other than the five below may be present and mean nothing.
using ModifierFlags = std::uint64_t;

inline constexpr ModifierFlags shiftFlag = 0x20000;
inline constexpr ModifierFlags controlFlag = 0x40000;
inline constexpr ModifierFlags optionFlag = 0x80000; ///< Alt
inline constexpr ModifierFlags commandFlag = 0x100000; ///< Super
inline constexpr ModifierFlags functionFlag = 0x800000; ///< AltGr

/// The five bits that count; flags are masked with it before they are compared.
inline constexpr ModifierFlags relevantModifierFlags = 0x9E0000;

} // namespace Pelgra
