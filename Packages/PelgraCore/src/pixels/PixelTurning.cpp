#include "pixels/PixelTurning.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <limits>
#include <stdexcept>

namespace Pelgra {

namespace {

RasterImage blankCopy(const RasterImage& image, int width, int height, bool hasAlpha)
{
    std::optional<RasterImage> copy = RasterImage::make(width, height, image.model, hasAlpha, image.bitsPerComponent);
    if (!copy)
        throw std::runtime_error("the picture is too large");
    copy->iccProfile = image.iccProfile;
    return std::move(*copy);
}

/// Where the turned picture finds its pixels: the source of its first pixel, and the way in bytes to the source of the
/// next pixel to the right and downwards.
struct SourceWalk {
    const std::byte* first = nullptr;
    std::ptrdiff_t right = 0;
    std::ptrdiff_t down = 0;
};

SourceWalk sourceWalk(const RasterImage& image, unsigned orientation)
{
    const auto pixel = static_cast<std::ptrdiff_t>(image.bytesPerPixel());
    const auto row = static_cast<std::ptrdiff_t>(image.stride);
    // Which stored edges lie at the upright picture's left and top (CIPA DC-008, orientation).
    const bool isTransposed = orientation >= 5;
    const bool fromRight = orientation == 2 || orientation == 3 || orientation == 7 || orientation == 8;
    const bool fromBottom = orientation == 3 || orientation == 4 || orientation == 6 || orientation == 7;
    const std::ptrdiff_t alongX = fromRight ? -pixel : pixel;
    const std::ptrdiff_t alongY = fromBottom ? -row : row;
    SourceWalk walk;
    walk.first =
        image.pixels.data() + (fromRight ? (image.width - 1) * pixel : 0) + (fromBottom ? (image.height - 1) * row : 0);
    walk.right = isTransposed ? alongY : alongX;
    walk.down = isTransposed ? alongX : alongY;
    return walk;
}

/// Copies block by block, so that both pictures' parts stay in the nearest cache.
template <std::size_t pixelBytes>
void copyPixels(const SourceWalk& walk, RasterImage& target)
{
    constexpr int blockSide = 64;
    for (int top = 0; top < target.height; top += blockSide) {
        const int bottom = std::min(top + blockSide, target.height);
        for (int left = 0; left < target.width; left += blockSide) {
            const int right = std::min(left + blockSide, target.width);
            for (int y = top; y < bottom; ++y) {
                const std::byte* source = walk.first + left * walk.right + y * walk.down;
                std::byte* pixel = target.row(y).data() + static_cast<std::size_t>(left) * pixelBytes;
                for (int x = left; x < right; ++x, source += walk.right, pixel += pixelBytes)
                    std::memcpy(pixel, source, pixelBytes);
            }
        }
    }
}

/// value × alpha + white × (1 − alpha), rounded.
template <typename Component>
Component overWhite(Component value, Component alpha)
{
    constexpr std::uint32_t largest = std::numeric_limits<Component>::max();
    const std::uint64_t darkening = std::uint64_t{largest - value} * alpha;
    return static_cast<Component>(largest - (darkening + largest / 2) / largest);
}

template <typename Component>
void flatten(const RasterImage& source, RasterImage& target)
{
    const std::size_t colors = static_cast<std::size_t>(target.componentCount());
    for (int y = 0; y < source.height; ++y) {
        const std::byte* from = source.row(y).data();
        std::byte* to = target.row(y).data();
        for (int x = 0; x < source.width; ++x) {
            Component alpha;
            std::memcpy(&alpha, from + colors * sizeof alpha, sizeof alpha);
            for (std::size_t color = 0; color < colors; ++color) {
                Component value;
                std::memcpy(&value, from + color * sizeof value, sizeof value);
                value = overWhite(value, alpha);
                std::memcpy(to + color * sizeof value, &value, sizeof value);
            }
            from += (colors + 1) * sizeof(Component);
            to += colors * sizeof(Component);
        }
    }
}

} // namespace

RasterImage turnedUpright(const RasterImage& image, unsigned orientation)
{
    const bool isTransposed = orientation >= 5;
    RasterImage turned = blankCopy(image, isTransposed ? image.height : image.width,
                                   isTransposed ? image.width : image.height, image.hasAlpha);
    const SourceWalk walk = sourceWalk(image, orientation);
    switch (image.bytesPerPixel()) {
    case 1:
        copyPixels<1>(walk, turned);
        break;
    case 2:
        copyPixels<2>(walk, turned);
        break;
    case 3:
        copyPixels<3>(walk, turned);
        break;
    case 4:
        copyPixels<4>(walk, turned);
        break;
    case 6:
        copyPixels<6>(walk, turned);
        break;
    case 8:
        copyPixels<8>(walk, turned);
        break;
    default:
        throw std::runtime_error("a pixel of unknown size");
    }
    return turned;
}

RasterImage laidOverWhite(const RasterImage& image)
{
    RasterImage flat = blankCopy(image, image.width, image.height, false);
    if (image.bitsPerComponent == 16)
        flatten<std::uint16_t>(image, flat);
    else
        flatten<std::uint8_t>(image, flat);
    return flat;
}

} // namespace Pelgra
