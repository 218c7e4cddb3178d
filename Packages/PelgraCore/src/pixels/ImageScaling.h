#pragma once

#include "PelgraCore/RasterImage.h"

namespace Pelgra {

/// A smaller copy in the same form: each pixel is the mean of the area it covers, colours weighted by their alpha. The
/// new sides are at least 1 and at most the old ones. Throws std::runtime_error where the copy would be too large.
RasterImage scaledDown(const RasterImage& image, int width, int height);

/// The picture itself where its longest side is no more than maxPixels, else a copy scaled down to that; null where
/// there is no memory for it.
SharedImage fittedInto(const SharedImage& image, double maxPixels);

} // namespace Pelgra
