#include "images/ImageThumbnails.h"

#include "images/PictureDecoding.h"
#include "PelgraCore/Thumbnails.h"
#include "pixels/ImageScaling.h"

#include <algorithm>
#include <cmath>
#include <exception>

namespace Pelgra {

SharedImage Thumbnails::scaled(const SharedImage& image, double maxPixels)
{
    const double scale = maxPixels / std::max(image->width, image->height);
    if (!(scale < 1))
        return image;
    try {
        return std::make_shared<const RasterImage>(
            scaledDown(*image, static_cast<int>(std::max(1.0, std::round(scale * image->width))),
                       static_cast<int>(std::max(1.0, std::round(scale * image->height)))));
    } catch (const std::exception&) {
        return nullptr;
    }
}

std::optional<RasterImage> imageThumbnail(const std::filesystem::path& file, int index, double maxPixels)
{
    if (!(maxPixels > 0) || !std::isfinite(maxPixels))
        return std::nullopt;
    try {
        DecodedImage decoded = decodePicture(file, index);
        LoadedImage small;
        small.orientation = decoded.orientation;
        // Turned only when it is small.
        small.image = Thumbnails::scaled(std::make_shared<const RasterImage>(std::move(decoded.image)),
                                         std::max(1.0, std::round(maxPixels)));
        if (!small.image)
            return std::nullopt;
        return *small.upright(false);
    } catch (const std::exception&) {
        return std::nullopt;
    }
}

} // namespace Pelgra
