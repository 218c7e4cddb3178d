#include "images/ImagePlacement.h"

#include "metadata/ExifFields.h"

#include <utility>

namespace Pelgra {

ImagePlacement placementOf(const DecodedImage& decoded)
{
    constexpr double defaultResolution = 72;
    ImagePlacement placement;
    if (decoded.orientation >= 1 && decoded.orientation <= 8)
        placement.orientation = decoded.orientation;
    placement.dpiWidth = decoded.dpiX && isUsableResolution(*decoded.dpiX) ? *decoded.dpiX : defaultResolution;
    placement.dpiHeight = decoded.dpiY && isUsableResolution(*decoded.dpiY) ? *decoded.dpiY : placement.dpiWidth;
    if (placement.orientation >= 5)
        std::swap(placement.dpiWidth, placement.dpiHeight); // the file means the stored picture
    return placement;
}

} // namespace Pelgra
