#include "images/ImageThumbnails.h"

#include "images/ImageDecoding.h"
#include "PelgraCore/ImageLoading.h"
#include "pixels/ImageScaling.h"

#include <algorithm>
#include <cmath>
#include <exception>

namespace Pelgra {

std::optional<RasterImage> imageThumbnail(const std::filesystem::path& file, int index, double maxPixels)
{
    if (!(maxPixels > 0) || !std::isfinite(maxPixels))
        return std::nullopt;
    try {
        DecodedImage decoded = decodeImage(file, index);
        LoadedImage small;
        small.orientation = decoded.orientation;
        // Turned only once it is small.
        small.image = fittedInto(std::make_shared<const RasterImage>(std::move(decoded.image)),
                                 std::max(1.0, std::round(maxPixels)));
        if (!small.image)
            return std::nullopt;
        return *small.upright(false);
    } catch (const std::exception&) {
        return std::nullopt;
    }
}

} // namespace Pelgra
