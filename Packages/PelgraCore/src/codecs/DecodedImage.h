#pragma once

#include "PelgraCore/RasterImage.h"

#include <optional>
#include <span>
#include <stdexcept>

namespace Pelgra {

/// What a decoder makes of a file's bytes, before any rule is applied.
struct DecodedImage {
    RasterImage image; ///< the first picture, as stored
    unsigned orientation = 1; ///< of the stored pixels, from the file's own tags; 1 where the decoder has turned them
    std::optional<double>
        dpiX; ///< dots per inch of the stored pixels, left to right; absent where the file says nothing
    std::optional<double> dpiY;
    Bytes exif; ///< raw TIFF structure, no "Exif" prefix
    Bytes iptc; ///< raw IIM data sets
    Bytes xmp; ///< raw packet
};

/// Thrown by decoders for anything they cannot read; the loader names the file.
class DecodeError final : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

} // namespace Pelgra
