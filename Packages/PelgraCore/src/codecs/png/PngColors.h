#pragma once

#include "codecs/png/PngChunks.h"
#include "PelgraCore/RasterImage.h"

namespace Pelgra {

/// An ICC profile that says what the gAMA and cHRM chunks of a PNG say (PNG specification, 11.3.2.1 and 11.3.2.2).
/// Empty where they are absent or implausible, where they describe sRGB or nearly so, and where the file has a profile
/// or states sRGB, both of which take precedence.
Bytes profileFromChunks(const PngProperties& properties, ColorModel model);

} // namespace Pelgra
