#pragma once

#include "PelgraCore/RasterImage.h"

#include <cstddef>
#include <span>

namespace Pelgra {

/// The application segments of a JPEG that matter here. Spans point into the file.
struct JpegMarkers {
    std::span<const std::byte> exif; ///< a TIFF structure
    std::span<const std::byte> xmp; ///< a packet
    Bytes iptc; ///< IIM data sets
    Bytes iccProfile; ///< put together from its pieces; empty where one is missing
};

/// Reads the segments up to the first scan (ITU-T T.81, annex B). What is damaged is left out.
JpegMarkers readJpegMarkers(std::span<const std::byte> file);

} // namespace Pelgra
