#include "codecs/png/PngUnfilter.h"

#include <cstring>

namespace Pelgra {

namespace {

// One pixel at a time, all of its components at once: each pixel depends on its left neighbour, so longer vectors would
// gain nothing. The compiler keeps these in registers on every processor.
using Components = std::uint8_t __attribute__((vector_size(8)));
using Sums = std::int16_t __attribute__((vector_size(16)));

/// Loads whole words, a little beyond the pixel, because odd sizes would take several loads.
template <std::size_t pixelBytes>
Components load(const std::uint8_t* place)
{
    constexpr std::size_t loaded = pixelBytes <= 2 ? pixelBytes : pixelBytes <= 4 ? 4 : 8;
    Components pixel{};
    std::memcpy(&pixel, place, loaded);
    return pixel;
}

template <std::size_t pixelBytes>
void store(std::uint8_t* place, Components pixel)
{
    std::memcpy(place, &pixel, pixelBytes);
}

Sums widened(Components pixel)
{
    return __builtin_convertvector(pixel, Sums);
}

Components narrowed(Sums sums)
{
    return __builtin_convertvector(sums, Components);
}

Sums magnitude(Sums value)
{
    return value < 0 ? -value : value;
}

/// The neighbour nearest to left + above − corner; of equal ones the left, then the upper.
Sums paethPrediction(Sums left, Sums above, Sums corner)
{
    const Sums leftDistance = magnitude(above - corner);
    const Sums aboveDistance = magnitude(left - corner);
    const Sums cornerDistance = magnitude(left + above - corner - corner);
    const Sums nearer = aboveDistance <= cornerDistance ? above : corner;
    const auto leftIsNearest = (leftDistance <= aboveDistance) & (leftDistance <= cornerDistance);
    return leftIsNearest ? left : nearer;
}

template <std::size_t pixelBytes>
void undoSub(const std::uint8_t* filtered, std::span<std::uint8_t> row)
{
    Components left{};
    for (std::size_t place = 0; place < row.size(); place += pixelBytes) {
        left = left + load<pixelBytes>(filtered + place);
        store<pixelBytes>(row.data() + place, left);
    }
}

void undoUp(const std::uint8_t* __restrict filtered, const std::uint8_t* __restrict above, std::uint8_t* __restrict row,
            std::size_t size)
{
    for (std::size_t place = 0; place < size; ++place)
        row[place] = static_cast<std::uint8_t>(filtered[place] + above[place]);
}

template <std::size_t pixelBytes>
void undoAverage(const std::uint8_t* filtered, const std::uint8_t* above, std::span<std::uint8_t> row)
{
    Components left{};
    for (std::size_t place = 0; place < row.size(); place += pixelBytes) {
        const Sums mean = (widened(left) + widened(load<pixelBytes>(above + place))) >> 1;
        left = load<pixelBytes>(filtered + place) + narrowed(mean);
        store<pixelBytes>(row.data() + place, left);
    }
}

template <std::size_t pixelBytes>
void undoPaeth(const std::uint8_t* filtered, const std::uint8_t* above, std::span<std::uint8_t> row)
{
    Sums left{}, corner{};
    for (std::size_t place = 0; place < row.size(); place += pixelBytes) {
        const Sums up = widened(load<pixelBytes>(above + place));
        const Components pixel = load<pixelBytes>(filtered + place) + narrowed(paethPrediction(left, up, corner));
        store<pixelBytes>(row.data() + place, pixel);
        left = widened(pixel);
        corner = up;
    }
}

template <std::size_t pixelBytes>
bool unfilter(std::uint8_t type, const std::uint8_t* filtered, const std::uint8_t* above, std::span<std::uint8_t> row)
{
    switch (type) {
    case 0:
        std::memcpy(row.data(), filtered, row.size());
        return true;
    case 1:
        undoSub<pixelBytes>(filtered, row);
        return true;
    case 2:
        undoUp(filtered, above, row.data(), row.size());
        return true;
    case 3:
        undoAverage<pixelBytes>(filtered, above, row);
        return true;
    case 4:
        undoPaeth<pixelBytes>(filtered, above, row);
        return true;
    }
    return false;
}

} // namespace

bool unfilterRow(std::uint8_t type, const std::uint8_t* filtered, const std::uint8_t* above,
                 std::span<std::uint8_t> row, std::size_t pixelBytes)
{
    switch (pixelBytes) {
    case 1:
        return unfilter<1>(type, filtered, above, row);
    case 2:
        return unfilter<2>(type, filtered, above, row);
    case 3:
        return unfilter<3>(type, filtered, above, row);
    case 4:
        return unfilter<4>(type, filtered, above, row);
    case 6:
        return unfilter<6>(type, filtered, above, row);
    case 8:
        return unfilter<8>(type, filtered, above, row);
    }
    return false;
}

} // namespace Pelgra
