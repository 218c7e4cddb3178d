#pragma once

#include "PelgraCore/RasterImage.h"

namespace Pelgra {

/// A CMYK picture in sRGB of the same depth, without a profile: by the picture's own profile where it has a usable one,
/// else by the plain product of what ink and black let through. Throws std::bad_alloc, and std::runtime_error where
/// the result would be too large.
RasterImage cmykToSrgb(const RasterImage& image);

/// Whether a profile describes pixels of this model, so that it may stay with them.
bool profileFits(const Bytes& iccProfile, ColorModel model);

} // namespace Pelgra
