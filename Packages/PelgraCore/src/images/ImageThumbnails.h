#pragma once

#include "PelgraCore/RasterImage.h"
#include "PelgraCore/Thumbnails.h"

#include <filesystem>
#include <optional>

namespace Pelgra {

/// The upright picture with the given index (the first where there is none) of an image file of any format, its longest
/// side at most maxPixels. None where it cannot be read or maxPixels is not above zero.
std::optional<RasterImage> imageThumbnail(const std::filesystem::path& file, int index, double maxPixels);

/// See Thumbnails::shared. Throws EngineError where the file cannot be read.
std::optional<RasterImage> sharedThumbnail(const std::filesystem::path& file, const Thumbnails::SharedClaims& claims,
                                           double maxPixels);

} // namespace Pelgra
