#include "images/ImageDecoding.h"
#include "images/ImagePlacement.h"
#include "modules/metadata/MetadataModule.h"
#include "modules/ModuleLoader.h"
#include "PelgraCore/EngineError.h"
#include "PelgraCore/ImageLoading.h"

#include <exception>
#include <utility>

namespace Pelgra {

namespace {

/// A picture whose metadata cannot be kept is still a picture.
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
    DecodedImage decoded = decodeImage(file, 0);
    try {
        LoadedImage loaded;
        loaded.image = std::make_shared<const RasterImage>(std::move(decoded.image));
        const ImagePlacement placement = placementOf(decoded);
        loaded.orientation = placement.orientation;
        loaded.dpiWidth = placement.dpiWidth;
        loaded.dpiHeight = placement.dpiHeight;
        loaded.metadata = filteredMetadata(decoded, loaded);
        return loaded;
    } catch (const std::exception&) {
        throw EngineError::unreadable(file);
    }
}

} // namespace Pelgra
