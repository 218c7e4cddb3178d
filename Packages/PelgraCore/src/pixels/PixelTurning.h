#pragma once

#include "PelgraCore/RasterImage.h"

namespace Pelgra {

/// A copy with an EXIF orientation from 1 to 8 applied. Throws std::runtime_error where it would be too large.
RasterImage turnedUpright(const RasterImage& image, unsigned orientation);

/// An opaque copy of a grey or RGB picture with alpha, laid over white in its own depth. Throws std::runtime_error.
RasterImage laidOverWhite(const RasterImage& image);

} // namespace Pelgra
