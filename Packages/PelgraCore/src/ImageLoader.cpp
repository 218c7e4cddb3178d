#include "ExifFields.h"
#include "MetadataModule.h"
#include "ModuleLoader.h"
#include "PelgraCore/EngineError.h"
#include "PelgraCore/ImageLoading.h"
#include "PictureDecoding.h"

#include <exception>
#include <utility>

namespace Pelgra {

namespace {

constexpr double defaultResolution = 72;

bool isTransposed(unsigned orientation)
{
    return orientation >= 5 && orientation <= 8;
}

void setResolution(const DecodedImage& decoded, LoadedImage& loaded)
{
    const double dpiX = decoded.dpiX && isUsableResolution(*decoded.dpiX) ? *decoded.dpiX : defaultResolution;
    const double dpiY = decoded.dpiY && isUsableResolution(*decoded.dpiY) ? *decoded.dpiY : dpiX;
    loaded.dpiWidth = dpiX;
    loaded.dpiHeight = dpiY;
    if (isTransposed(loaded.orientation))
        std::swap(loaded.dpiWidth, loaded.dpiHeight);
}

/// A picture whose metadata cannot be carried is still a picture.
ImageMetadata filteredMetadata(const DecodedImage& decoded, const LoadedImage& loaded)
{
    if (decoded.exif.empty() && decoded.iptc.empty() && decoded.xmp.empty())
        return {};
    try {
        return module<MetadataModule>("metadata")
            .filter({.exif = decoded.exif,
                     .iptc = decoded.iptc,
                     .xmp = decoded.xmp,
                     .uprightWidth = loaded.uprightWidth(),
                     .uprightHeight = loaded.uprightHeight(),
                     .dpiWidth = loaded.dpiWidth,
                     .dpiHeight = loaded.dpiHeight});
    } catch (const std::exception&) {
        return {};
    }
}

} // namespace

LoadedImage ImageLoader::load(const std::filesystem::path& file)
{
    DecodedImage decoded = decodePicture(file, 0);
    try {
        LoadedImage loaded;
        loaded.image = std::make_shared<const RasterImage>(std::move(decoded.image));
        loaded.orientation = decoded.orientation >= 1 && decoded.orientation <= 8 ? decoded.orientation : 1;
        setResolution(decoded, loaded);
        loaded.metadata = filteredMetadata(decoded, loaded);
        return loaded;
    } catch (const std::exception&) {
        throw EngineError::unreadable(file);
    }
}

} // namespace Pelgra
