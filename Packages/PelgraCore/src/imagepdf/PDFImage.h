#pragma once

#include "PelgraCore/RasterImage.h"

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <span>
#include <vector>

namespace Pelgra {

/// A picture the way it stands in a PDF: not turned, its pixels coded.
struct PDFImage {
    enum class Coding : std::uint8_t {
        jpeg, ///< DCTDecode
        rows, ///< FlateDecode over rows with PNG filters
    };

    int width = 0; ///< pixels, as stored
    int height = 0; ///< pixels, as stored
    unsigned orientation = 1; ///< EXIF orientation of the stored pixels
    double dpiWidth = 72; ///< across the upright picture
    double dpiHeight = 72; ///< down the upright picture

    Coding coding = Coding::rows;
    ColorModel model = ColorModel::rgb;
    int bitsPerComponent = 8;
    bool isInverted = false; ///< 255 is no ink, as Adobe writes CMYK
    bool isNamedRGB = false; ///< the components of a JPEG are not to be taken for YCbCr
    Bytes palette; ///< red, green and blue of each colour; then the rows hold one index each
    Bytes iccProfile; ///< fits the model; empty when there is none
    std::vector<std::span<const std::byte>> data; ///< the coded pixels, one part after another; views of `storage`
    Bytes storage;
    Bytes alpha; ///< coded rows of straight alpha, with the same bits; empty when opaque

    int componentCount() const { return model == ColorModel::gray ? 1 : model == ColorModel::rgb ? 3 : 4; }
};

/// Reads an image file for a PDF. The coded pixels of JPEG and opaque PNG files are used as they are, once known to be
/// sound; all others are decoded and coded again without loss, on the given number of threads. Throws
/// EngineError::unreadable as the loader does, std::runtime_error when coding fails.
PDFImage loadPDFImage(const std::filesystem::path& file, int threads);

} // namespace Pelgra
