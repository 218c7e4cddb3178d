#include "images/ImageDecoding.h"
#include "images/ImagePlacement.h"
#include "images/PictureRows.h"
#include "images/UprightRows.h"
#include "modules/metadata/MetadataModule.h"
#include "modules/ModuleLoader.h"
#include "PelgraCore/EngineError.h"
#include "PelgraCore/ImageLoading.h"

#include <exception>
#include <utility>

namespace Pelgra {

namespace {

/// A picture whose metadata cannot be kept is still a picture.
ImageMetadata filteredMetadata(const DecodedImage& decoded, const ImagePlacement& placement, int uprightWidth,
                               int uprightHeight)
{
    if (decoded.exif.empty() && decoded.iptc.empty() && decoded.xmp.empty())
        return {};
    try {
        return module<MetadataModule>("metadata")
            .filter({.exif = decoded.exif,
                     .iptc = decoded.iptc,
                     .xmp = decoded.xmp,
                     .uprightWidth = uprightWidth,
                     .uprightHeight = uprightHeight,
                     .dpiWidth = placement.dpiWidth,
                     .dpiHeight = placement.dpiHeight});
    } catch (const std::exception&) {
        return {};
    }
}

LoadedImage loadedImageOf(DecodedImage decoded)
{
    LoadedImage loaded;
    loaded.image = std::make_shared<const RasterImage>(std::move(decoded.image));
    const ImagePlacement placement = placementOf(decoded);
    loaded.orientation = placement.orientation;
    loaded.dpiWidth = placement.dpiWidth;
    loaded.dpiHeight = placement.dpiHeight;
    loaded.metadata = filteredMetadata(decoded, placement, loaded.uprightWidth(), loaded.uprightHeight());
    return loaded;
}

/// Calls what can only fail on account of the file.
template <typename Make>
auto unreadableUnless(const std::filesystem::path& file, const Make& make)
{
    try {
        return make();
    } catch (const std::exception&) {
        throw EngineError::unreadable(file);
    }
}

} // namespace

LoadedImage ImageLoader::load(const std::filesystem::path& file)
{
    DecodedImage decoded = decodeImage(file, 0);
    return unreadableUnless(file, [&] { return loadedImageOf(std::move(decoded)); });
}

PictureRows openPictureRows(const std::filesystem::path& file, FileFormat target, int threads)
{
    OpenedImage opened = openImage(file, target, threads);
    if (opened.rows) {
        const ImagePlacement placement = placementOf(opened.decoded);
        const RasterForm& form = opened.rows->form();
        ImageMetadata metadata = filteredMetadata(opened.decoded, placement, form.width, form.height);
        return {std::move(opened.rows), placement.dpiWidth, placement.dpiHeight, std::move(metadata)};
    }
    LoadedImage loaded = unreadableUnless(file, [&] { return loadedImageOf(std::move(opened.decoded)); });
    PictureRows picture{nullptr, loaded.dpiWidth, loaded.dpiHeight, std::move(loaded.metadata)};
    picture.rows = uprightRows(std::move(loaded), target == FileFormat::jpg);
    return picture;
}

} // namespace Pelgra
