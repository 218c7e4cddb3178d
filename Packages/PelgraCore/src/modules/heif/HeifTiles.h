#pragma once

#include "HeifHandles.h"
#include "HeifStructure.h"
#include "PelgraCore/RasterImage.h"

#include <cstddef>
#include <optional>
#include <span>

namespace Pelgra {

/// A context that reads the file, which must outlive it, with the limits that every file is read with. Throws
/// DecodeError.
HeifContext openHeif(std::span<const std::byte> file);

/// A picture put together from tiles, decoded on every core and turned as its item says. None where the item is no
/// plain grid: the library decodes it then, one tile after the other. Throws DecodeError.
std::optional<RasterImage> decodeHeifTiles(std::span<const std::byte> file, const HeifStructure& structure,
                                           heif_item_id id, const heif_image_handle& handle);

} // namespace Pelgra
