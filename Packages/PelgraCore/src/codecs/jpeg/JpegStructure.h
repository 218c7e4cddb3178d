#pragma once

#include "PelgraCore/RasterImage.h"

#include <cstddef>
#include <optional>
#include <span>
#include <vector>

namespace Pelgra {

/// The parts of a JPEG stream (ITU-T T.81, annex B) that matter where its coded pixels are used as they are.
struct JpegStructure {
    int width = 0; ///< pixels
    int height = 0; ///< pixels
    int componentCount = 0; ///< 1, 3 or 4
    bool hasAdobeSegment = false;
    /// The three components are red, green and blue by their names; unless told otherwise, decoders take them for
    /// YCbCr.
    bool isNamedRGB = false;
    Bytes iccProfile; ///< put together from its segments; empty when absent or inconsistent
    /// The stream without the segments a picture does not need (EXIF, XMP, IPTC, profile, thumbnails, comments), and
    /// without anything after its end. Views of the file's bytes and of constants.
    std::vector<std::span<const std::byte>> parts;
};

/// Reads the structure of a baseline, extended or progressive stream with 8 bits and Huffman coding. None when anything
/// about it is unusual or unsound: what this function accepts, a decoder reads without an error.
std::optional<JpegStructure> readJpegStructure(std::span<const std::byte> file);

} // namespace Pelgra
