#include "PageImage.h"

#include <cmath>
#include <cstring>

namespace Pelgra {

PixHandle pixFrom(const GrayImage& picture)
{
    PixHandle pix(pixCreateNoInit(picture.width, picture.height, 8));
    if (!pix)
        return pix;
    const auto width = static_cast<std::size_t>(picture.width);
    const auto rowBytes = static_cast<std::size_t>(pixGetWpl(pix.get())) * sizeof(l_uint32);
    auto* target = reinterpret_cast<std::byte*>(pixGetData(pix.get()));
    const std::byte* source = picture.pixels.data();
    for (int y = 0; y < picture.height; ++y, target += rowBytes, source += width) {
        std::memcpy(target, source, width);
        std::memset(target + width, 0, rowBytes - width);
    }
    // The library keeps pixels in 32-bit words with the first pixel in the highest byte.
    pixEndianByteSwap(pix.get());
    const int resolution = static_cast<int>(std::lround(picture.pixelsPerInch));
    pixSetResolution(pix.get(), resolution, resolution);
    return pix;
}

PixHandle turned(const Pix& pix, int quarters)
{
    return PixHandle(pixRotateOrth(const_cast<Pix*>(&pix), quarters));
}

} // namespace Pelgra
