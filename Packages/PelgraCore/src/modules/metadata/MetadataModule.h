#pragma once

#include "PelgraCore/ImageLoading.h"

#include <cstddef>
#include <span>

namespace Pelgra {

/// The blocks of a file as a decoder found them, and what the written copies will be.
struct MetadataSource {
    std::span<const std::byte> exif; ///< a TIFF structure
    std::span<const std::byte> iptc; ///< IIM data sets
    std::span<const std::byte> xmp; ///< a packet
    int uprightWidth = 0; ///< pixels
    int uprightHeight = 0; ///< pixels
    double dpiWidth = 72; ///< of the upright picture
    double dpiHeight = 72; ///< of the upright picture
};

/// The table of the module "metadata".
struct MetadataModule {
    /// What travels on, see ImageMetadata. A damaged block yields what could be read of it, or nothing; throws only
    /// when memory runs out.
    ImageMetadata (*filter)(const MetadataSource& source);
};

} // namespace Pelgra
