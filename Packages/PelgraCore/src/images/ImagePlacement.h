#pragma once

#include "codecs/DecodedImage.h"

namespace Pelgra {

/// How stored pixels are to be shown.
struct ImagePlacement {
    unsigned orientation = 1; ///< EXIF orientation of the stored pixels, 1 to 8
    double dpiWidth = 72; ///< dots per inch across the upright picture
    double dpiHeight = 72; ///< dots per inch down the upright picture
};

/// Turns what a file says into usable values; the usual ones stand for what it does not say.
ImagePlacement placementOf(const DecodedImage& decoded);

} // namespace Pelgra
