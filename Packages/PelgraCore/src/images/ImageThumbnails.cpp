#include "images/ImageThumbnails.h"

#include "codecs/BlockWrappings.h"
#include "codecs/ColorConversion.h"
#include "codecs/png/PngChunks.h"
#include "codecs/png/PngDecoder.h"
#include "files/FileBytes.h"
#include "images/ImageDecoding.h"
#include "PelgraCore/ImageLoading.h"
#include "pixels/ImageScaling.h"

#include <algorithm>
#include <cmath>
#include <exception>
#include <string>
#include <utility>

namespace Pelgra {

namespace {

/// Whether a PNG has at most the sides of the largest shared thumbnails, by its header.
bool isSmallPng(std::span<const std::byte> file)
{
    constexpr std::uint64_t longestSide = 1024;
    PngChunks header(file);
    return hasPngSignature(file) && header.next() && header.is("IHDR") && header.content().size() >= 8
        && bigEndianNumber(header.content(), 0, 4) <= longestSide
        && bigEndianNumber(header.content(), 4, 4) <= longestSide;
}

/// Turned, and its colours converted, only once it is small.
std::optional<RasterImage> smallPicture(DecodedImage decoded, double maxPixels)
{
    LoadedImage small;
    small.orientation = decoded.orientation;
    small.image =
        fittedInto(std::make_shared<const RasterImage>(std::move(decoded.image)), std::max(1.0, std::round(maxPixels)));
    if (!small.image)
        return std::nullopt;
    return inSrgb(*small.upright(false));
}

} // namespace

std::optional<RasterImage> imageThumbnail(const std::filesystem::path& file, int index, double maxPixels)
{
    if (!(maxPixels > 0) || !std::isfinite(maxPixels))
        return std::nullopt;
    try {
        return smallPicture(decodeImage(file, index), maxPixels);
    } catch (const std::exception&) {
        return std::nullopt;
    }
}

std::optional<RasterImage> sharedThumbnail(const std::filesystem::path& file, const Thumbnails::SharedClaims& claims,
                                           double maxPixels)
{
    const Bytes bytes = readFile(file);
    if (!isSmallPng(bytes) || readPngText(bytes, "Thumb::MTime") != std::to_string(claims.modified)
        || readPngText(bytes, "Thumb::URI").value_or(claims.address) != claims.address)
        return std::nullopt;
    return smallPicture(decodePng(bytes), maxPixels);
}

} // namespace Pelgra
