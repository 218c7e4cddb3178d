#pragma once

#include "codecs/DecodedImage.h"

namespace Pelgra {

/// How stored pixels are to be shown.
struct PicturePlacement {
    unsigned orientation = 1; ///< EXIF orientation of the stored pixels, 1 to 8
    double dpiWidth = 72; ///< dots per inch across the upright picture
    double dpiHeight = 72; ///< dots per inch down the upright picture
};

/// Makes usable statements of what a file says; what it does not say is the usual.
PicturePlacement placementOf(const DecodedImage& decoded);

} // namespace Pelgra
