#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace Pelgra {

/// Which letters stand for ten to fifteen.
enum class HexadecimalLetters : std::uint8_t { small, capital };

/// A byte as two hexadecimal digits.
inline std::string hexadecimal(std::uint8_t byte, HexadecimalLetters letters = HexadecimalLetters::small)
{
    constexpr std::string_view small = "0123456789abcdef";
    constexpr std::string_view capital = "0123456789ABCDEF";
    const std::string_view digits = letters == HexadecimalLetters::small ? small : capital;
    return {digits[byte >> 4], digits[byte & 0xF]};
}

} // namespace Pelgra
