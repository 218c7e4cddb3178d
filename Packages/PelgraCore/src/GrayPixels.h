#pragma once

#include "PelgraCore/ImageLoading.h"

namespace Pelgra {

/// Makes a picture of 8-bit RGB without alpha one of 8-bit grey if no pixel of it has a colour, in its place; else
/// leaves it as it is. The picture must have tight rows.
void reduceToGrayIfColorless(RasterImage& image);

} // namespace Pelgra
