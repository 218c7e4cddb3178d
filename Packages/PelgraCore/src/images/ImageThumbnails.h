#pragma once

#include "PelgraCore/RasterImage.h"

#include <filesystem>
#include <optional>

namespace Pelgra {

/// The upright picture with the given index (the first where there is none) of an image file of any format, its longest
/// side at most maxPixels. None where it cannot be read or maxPixels is not above zero.
std::optional<RasterImage> imageThumbnail(const std::filesystem::path& file, int index, double maxPixels);

} // namespace Pelgra
