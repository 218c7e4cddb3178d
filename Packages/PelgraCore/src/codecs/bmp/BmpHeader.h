#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace Pelgra {

enum class BmpCompression { none, runLength8, runLength4, runLength24, jpeg, png };

/// One component of a pixel stored as bits of a number.
struct BmpMask {
    std::uint32_t mask = 0;
    int shift = 0;
    std::uint32_t largest = 0;

    BmpMask() = default;
    explicit BmpMask(std::uint32_t bits);

    /// The component in 8 bits, rounded.
    std::uint8_t componentOf(std::uint32_t pixel) const
    {
        const std::uint32_t value = (pixel & mask) >> shift;
        if (largest == 0xFF)
            return static_cast<std::uint8_t>(value);
        return largest == 0 ? std::uint8_t{0}
                            : static_cast<std::uint8_t>((std::uint64_t{value} * 255 + largest / 2) / largest);
    }
};

/// The headers of a BMP of any generation: OS/2 1 and 2, Windows 3, 4 and 5.
struct BmpHeader {
    int width = 0;
    int height = 0;
    bool isTopDown = false;
    int bitsPerPixel = 0;
    BmpCompression compression = BmpCompression::none;
    std::array<BmpMask, 4> masks; ///< red, green, blue, alpha of 16- and 32-bit pixels
    bool hasAlphaMask = false;
    std::vector<std::array<std::uint8_t, 3>> palette; ///< red, green, blue
    std::span<const std::byte> pixels; ///< as far as the file holds them
    std::span<const std::byte> iccProfile; ///< empty where there is none
    std::optional<double> dpiX, dpiY; ///< dots per inch
};

/// Throws DecodeError for what is not a BMP or is of an unknown kind.
BmpHeader readBmpHeader(std::span<const std::byte> file);

} // namespace Pelgra
