#include "PelgraCore/RasterImage.h"

#include <cstdlib>
#include <limits>
#include <new>
#include <utility>

#include <sys/mman.h>

namespace Pelgra {

void* PictureMemory::allocate(std::size_t bytes)
{
    constexpr std::size_t largePage = std::size_t{2} << 20;
    if (bytes > std::numeric_limits<std::size_t>::max() - largePage)
        throw std::bad_alloc();
    void* const memory = std::aligned_alloc(largePage, (bytes + largePage - 1) / largePage * largePage);
    if (!memory)
        throw std::bad_alloc();
    madvise(memory, bytes / largePage * largePage, MADV_HUGEPAGE); // a hint
    return memory;
}

void PictureMemory::release(void* memory) noexcept
{
    std::free(memory);
}

namespace {

int colorComponents(ColorModel model)
{
    switch (model) {
    case ColorModel::gray:
        return 1;
    case ColorModel::rgb:
        return 3;
    case ColorModel::cmyk:
        return 4;
    }
    return 0;
}

} // namespace

int RasterImage::componentCount() const
{
    return colorComponents(model) + (hasAlpha ? 1 : 0);
}

std::size_t RasterImage::bytesPerPixel() const
{
    return static_cast<std::size_t>(componentCount()) * static_cast<std::size_t>(bitsPerComponent / 8);
}

std::span<const std::byte> RasterImage::row(int y) const
{
    return std::span(pixels).subspan(static_cast<std::size_t>(y) * stride,
                                     static_cast<std::size_t>(width) * bytesPerPixel());
}

std::span<std::byte> RasterImage::row(int y)
{
    return std::span(pixels).subspan(static_cast<std::size_t>(y) * stride,
                                     static_cast<std::size_t>(width) * bytesPerPixel());
}

bool RasterImage::fits(std::uint64_t width, std::uint64_t height, std::size_t bytesPerPixel)
{
    constexpr std::uint64_t sideLimit = std::numeric_limits<int>::max() / 16;
    return width > 0 && height > 0 && width <= sideLimit && height <= sideLimit
        && width * height <= pixelByteLimit / bytesPerPixel;
}

std::optional<RasterImage> RasterImage::make(int width, int height, ColorModel model, bool hasAlpha,
                                             int bitsPerComponent, PixelBuffer memory)
{
    RasterImage image;
    image.pixels = std::move(memory);
    image.width = width;
    image.height = height;
    image.model = model;
    image.hasAlpha = hasAlpha;
    image.bitsPerComponent = bitsPerComponent;
    if (width < 1 || height < 1
        || !fits(static_cast<std::uint64_t>(width), static_cast<std::uint64_t>(height), image.bytesPerPixel()))
        return std::nullopt;
    image.stride = static_cast<std::size_t>(width) * image.bytesPerPixel();
    image.pixels.resize(image.stride * static_cast<std::size_t>(height));
    return image;
}

} // namespace Pelgra
