#include "pixels/GrayPixels.h"

#include <array>
#include <cassert>
#include <cstdint>
#include <cstring>

namespace Pelgra {

namespace {

constexpr std::size_t pixelBytes = 3;
constexpr std::size_t wordBytes = sizeof(std::uint64_t);
/// After this many bytes, words and pixels begin together again.
constexpr std::size_t groupBytes = wordBytes * pixelBytes;

/// For each word of a group, the bytes that are followed by another of the same pixel.
std::array<std::uint64_t, pixelBytes> masksOfGroup()
{
    std::array<unsigned char, groupBytes> bytes{};
    for (std::size_t index = 0; index < groupBytes; ++index)
        bytes[index] = index % pixelBytes == pixelBytes - 1 ? 0 : 0xFF;
    std::array<std::uint64_t, pixelBytes> masks{};
    std::memcpy(masks.data(), bytes.data(), groupBytes);
    return masks;
}

std::uint64_t wordAt(const std::byte* bytes)
{
    std::uint64_t word = 0;
    std::memcpy(&word, bytes, wordBytes);
    return word;
}

/// Whether the three bytes of every pixel are the same.
bool isColorless(std::span<const std::byte> row)
{
    static const auto masks = masksOfGroup();
    std::uint64_t difference = 0;
    std::size_t index = 0;
    // A word is compared with the one that begins a byte later, so one byte after the group is read too.
    for (; index + groupBytes < row.size(); index += groupBytes) {
        for (std::size_t word = 0; word < pixelBytes; ++word) {
            const std::byte* const bytes = row.data() + index + word * wordBytes;
            difference |= (wordAt(bytes) ^ wordAt(bytes + 1)) & masks[word];
        }
    }
    for (; index < row.size(); index += pixelBytes) {
        if (row[index] != row[index + 1] || row[index] != row[index + 2])
            return false;
    }
    return difference == 0;
}

} // namespace

void reduceToGrayIfColorless(RasterImage& image)
{
    assert(image.model == ColorModel::rgb && !image.hasAlpha && image.bitsPerComponent == 8);
    for (int y = 0; y < image.height; ++y) {
        if (!isColorless(image.row(y)))
            return;
    }
    const std::size_t pixelCount = image.pixels.size() / pixelBytes;
    for (std::size_t index = 0; index < pixelCount; ++index)
        image.pixels[index] = image.pixels[index * pixelBytes];
    image.pixels.resize(pixelCount);
    image.model = ColorModel::gray;
    image.stride = static_cast<std::size_t>(image.width);
}

} // namespace Pelgra
