#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>

namespace Pelgra {

/// A 16-bit sample as the nearest 8-bit one: round(value × 255 ÷ 65535), exact for every value.
constexpr std::uint8_t reducedTo8(std::uint32_t value)
{
    return static_cast<std::uint8_t>((value * 255 + 32895) >> 16);
}

/// Reduces samples of 16 bits in the machine's byte order to 8 bits each; `to` holds half as many bytes as `from`.
inline void reduceTo8(std::span<const std::byte> from, std::span<std::byte> to)
{
    for (std::size_t index = 0; index < to.size(); ++index) {
        std::uint16_t sample = 0;
        std::memcpy(&sample, from.data() + 2 * index, sizeof sample);
        to[index] = static_cast<std::byte>(reducedTo8(sample));
    }
}

} // namespace Pelgra
