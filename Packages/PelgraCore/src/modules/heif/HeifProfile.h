#pragma once

#include "HeifHandles.h"
#include "PelgraCore/RasterImage.h"

namespace Pelgra {

/// The ICC profile of a picture: its own, or one made for the primaries its colour codes name (ITU-T H.273). Empty for
/// sRGB and for what cannot be expressed.
Bytes profileOf(const heif_image_handle& handle, ColorModel model);

} // namespace Pelgra
