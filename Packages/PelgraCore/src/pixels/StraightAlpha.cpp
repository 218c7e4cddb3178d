#include "pixels/StraightAlpha.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <limits>

namespace Pelgra {

namespace {

template <typename Sample>
void divideByAlpha(RasterImage& image)
{
    const auto colors = static_cast<std::size_t>(image.componentCount() - 1);
    constexpr std::uint64_t maximum = std::numeric_limits<Sample>::max();
    for (int y = 0; y < image.height; ++y) {
        std::byte* pixel = image.row(y).data();
        for (int x = 0; x < image.width; ++x, pixel += (colors + 1) * sizeof(Sample)) {
            std::array<Sample, 4> values{};
            std::memcpy(values.data(), pixel, (colors + 1) * sizeof(Sample));
            const std::uint64_t alpha = values[colors];
            if (alpha == 0 || alpha == maximum)
                continue;
            for (std::size_t index = 0; index < colors; ++index)
                values[index] = static_cast<Sample>(std::min((values[index] * maximum + alpha / 2) / alpha, maximum));
            std::memcpy(pixel, values.data(), colors * sizeof(Sample));
        }
    }
}

} // namespace

void makeAlphaStraight(RasterImage& image)
{
    if (!image.hasAlpha)
        return;
    if (image.bitsPerComponent == 16)
        divideByAlpha<std::uint16_t>(image);
    else
        divideByAlpha<std::uint8_t>(image);
}

} // namespace Pelgra
