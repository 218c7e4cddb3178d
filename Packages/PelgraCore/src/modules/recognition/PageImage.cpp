#include "PageImage.h"

#include <cmath>
#include <cstring>
#include <vector>

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

bool runsSideways(const GrayImage& picture)
{
    constexpr int sampleStep = 4; // in either direction; some pixels of a letter's stroke
    constexpr int dark = 128;
    constexpr double clearlyMore = 1.5;
    const auto columns = static_cast<std::size_t>(picture.width / sampleStep);
    const auto rows = static_cast<std::size_t>(picture.height / sampleStep);
    std::vector<double> inkOfColumn(columns);
    std::vector<double> inkOfRow(rows);
    for (std::size_t row = 0; row < rows; ++row) {
        const std::byte* pixel = picture.pixels.data() + row * sampleStep * static_cast<std::size_t>(picture.width);
        for (std::size_t column = 0; column < columns; ++column, pixel += sampleStep) {
            const double ink = std::to_integer<int>(*pixel) < dark ? 1 : 0;
            inkOfRow[row] += ink;
            inkOfColumn[column] += ink;
        }
    }
    const auto change = [](const std::vector<double>& ink) {
        double sum = 0;
        for (std::size_t index = 1; index < ink.size(); ++index)
            sum += (ink[index] - ink[index - 1]) * (ink[index] - ink[index - 1]);
        return sum;
    };
    return change(inkOfColumn) > clearlyMore * change(inkOfRow);
}

PixHandle turned(const Pix& pix, int quarters)
{
    return PixHandle(pixRotateOrth(const_cast<Pix*>(&pix), quarters));
}

} // namespace Pelgra
