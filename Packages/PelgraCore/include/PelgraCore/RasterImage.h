#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <optional>
#include <span>
#include <utility>
#include <vector>

namespace Pelgra {

/// Bytes of a file, a profile or a metadata block.
using Bytes = std::vector<std::byte>;

/// Memory for pictures. The system is asked for large pages, which saves it thousands of small ones and us a tenth of
/// the time. Throws std::bad_alloc.
namespace PictureMemory {
inline constexpr std::size_t leastBytes = std::size_t{4} << 20; ///< below this, memory is allocated as usual
void* allocate(std::size_t bytes);
void release(void* memory) noexcept;
} // namespace PictureMemory

/// Leaves new elements uninitialised: every byte of a picture is written by its decoder anyway.
template <typename T>
struct UninitializedAllocator : std::allocator<T> {
    T* allocate(std::size_t count)
    {
        return count < PictureMemory::leastBytes / sizeof(T)
            ? std::allocator<T>::allocate(count)
            : static_cast<T*>(PictureMemory::allocate(count * sizeof(T)));
    }
    void deallocate(T* memory, std::size_t count)
    {
        if (count < PictureMemory::leastBytes / sizeof(T))
            std::allocator<T>::deallocate(memory, count);
        else
            PictureMemory::release(memory);
    }
    template <typename U>
    struct rebind {
        using other = UninitializedAllocator<U>;
    };
    template <typename U, typename... Arguments>
    void construct(U* place, Arguments&&... arguments)
    {
        if constexpr (sizeof...(Arguments) == 0)
            ::new (static_cast<void*>(place)) U;
        else
            ::new (static_cast<void*>(place)) U(std::forward<Arguments>(arguments)...);
    }
};

/// The pixels of a picture. resize() does not clear new bytes.
using PixelBuffer = std::vector<std::byte, UninitializedAllocator<std::byte>>;

/// How the colour components of a raster are to be read. Alpha is counted separately.
enum class ColorModel : std::uint8_t {
    gray, ///< 1 component, 0 is black
    rgb, ///< 3 components
    cmyk, ///< 4 components, 0 is no ink; never with alpha
};

/// A decoded picture. Rows run from the top, pixels from the left, components interleaved (colour, then alpha),
/// 8 bits each or 16 bits in the machine's byte order. Alpha is straight, never premultiplied.
struct RasterImage {
    int width = 0; ///< pixels, at least 1
    int height = 0; ///< pixels, at least 1
    ColorModel model = ColorModel::rgb;
    bool hasAlpha = false;
    int bitsPerComponent = 8; ///< 8 or 16
    std::size_t stride = 0; ///< bytes from one row to the next
    PixelBuffer pixels; ///< height × stride bytes
    Bytes iccProfile; ///< the profile of the pixels; empty means sRGB (or its grey, or plain device CMYK)

    int componentCount() const;
    std::size_t bytesPerPixel() const;
    std::span<const std::byte> row(int y) const;
    std::span<std::byte> row(int y);

    /// A picture of this form with tight rows and pixels yet to be written, in the memory given if it is large enough;
    /// none when it would exceed pixelByteLimit.
    static std::optional<RasterImage> make(int width, int height, ColorModel model, bool hasAlpha, int bitsPerComponent,
                                           PixelBuffer memory = {});
    /// The most bytes of pixels any one picture may take. Larger ones count as unreadable before anything is
    /// allocated.
    static constexpr std::size_t pixelByteLimit = std::size_t{768} << 20;
    /// Whether a picture of these dimensions stays within the limits.
    static bool fits(std::uint64_t width, std::uint64_t height, std::size_t bytesPerPixel);
};

using SharedImage = std::shared_ptr<const RasterImage>;

} // namespace Pelgra
