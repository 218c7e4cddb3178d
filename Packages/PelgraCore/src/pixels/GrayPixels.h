#pragma once

#include "PelgraCore/RasterImage.h"

#include <cstddef>

namespace Pelgra {

/// The luma of pixels of 8-bit RGB (ITU-R BT.601, in 8-bit fractions), a byte for each. `gray` may begin where `rgb`
/// does.
inline void toLuma(const unsigned char* rgb, unsigned char* gray, std::size_t count)
{
    for (std::size_t index = 0; index < count; ++index, rgb += 3)
        gray[index] = static_cast<unsigned char>((77U * rgb[0] + 150U * rgb[1] + 29U * rgb[2] + 128U) >> 8);
}

/// Turns a picture of 8-bit RGB without alpha into 8-bit grey, in place, if none of its pixels has a colour; otherwise
/// leaves it as it is. The picture must have tight rows.
void reduceToGrayIfColorless(RasterImage& image);

} // namespace Pelgra
