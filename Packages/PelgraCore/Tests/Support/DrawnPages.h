#pragma once

#include "PelgraCore/RasterImage.h"

#include <array>
#include <cstdlib>

namespace Pelgra {

/// Red, green and blue from 0 to 255.
using DrawnColor = std::array<int, 3>;

inline constexpr DrawnColor white{255, 255, 255};
inline constexpr DrawnColor black{0, 0, 0};
inline constexpr DrawnColor red{255, 0, 0};
inline constexpr DrawnColor green{0, 255, 0};
inline constexpr DrawnColor blue{0, 0, 255};

/// A pixel of a drawn page, counted from the top left.
inline DrawnColor pixelAt(const RasterImage& image, int x, int y)
{
    const auto row = image.row(y);
    const auto at = static_cast<std::size_t>(x) * 3;
    return {std::to_integer<int>(row[at]), std::to_integer<int>(row[at + 1]), std::to_integer<int>(row[at + 2])};
}

inline bool isNear(const DrawnColor& color, const DrawnColor& wanted, int tolerance = 2)
{
    for (std::size_t index = 0; index < color.size(); ++index) {
        if (std::abs(color[index] - wanted[index]) > tolerance)
            return false;
    }
    return true;
}

} // namespace Pelgra
