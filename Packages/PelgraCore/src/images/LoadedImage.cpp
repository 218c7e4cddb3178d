#include "codecs/ColorConversion.h"
#include "PelgraCore/EngineError.h"
#include "PelgraCore/ImageLoading.h"
#include "pixels/PixelTurning.h"

#include <exception>

namespace Pelgra {

namespace {

bool isTransposed(unsigned orientation)
{
    return orientation >= 5 && orientation <= 8;
}

} // namespace

int LoadedImage::uprightWidth() const
{
    return isTransposed(orientation) ? image->height : image->width;
}

int LoadedImage::uprightHeight() const
{
    return isTransposed(orientation) ? image->width : image->height;
}

AffineTransform LoadedImage::orientationTransform() const
{
    const double width = image->width, height = image->height;
    switch (orientation) {
    case 2:
        return {-1, 0, 0, 1, width, 0};
    case 3:
        return {-1, 0, 0, -1, width, height};
    case 4:
        return {1, 0, 0, -1, 0, height};
    case 5:
        return {0, -1, -1, 0, height, width};
    case 6:
        return {0, -1, 1, 0, 0, width};
    case 7:
        return {0, 1, 1, 0, 0, 0};
    case 8:
        return {0, 1, -1, 0, height, 0};
    default:
        return {};
    }
}

SharedImage LoadedImage::upright(bool flattenOntoWhite) const
{
    try {
        SharedImage picture = image;
        if (picture->model == ColorModel::cmyk)
            picture = std::make_shared<const RasterImage>(cmykToSrgb(*picture));
        if (flattenOntoWhite && picture->hasAlpha)
            picture = std::make_shared<const RasterImage>(laidOverWhite(*picture));
        if (orientation >= 2 && orientation <= 8)
            picture = std::make_shared<const RasterImage>(turnedUpright(*picture, orientation));
        return picture;
    } catch (const std::exception&) {
        // The message the user is meant to see for a failed redraw, whatever formats are involved.
        throw EngineError::unsupported(FileFormat::png);
    }
}

} // namespace Pelgra
