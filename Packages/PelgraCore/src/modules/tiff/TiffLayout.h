#pragma once

#include "PelgraCore/RasterImage.h"
#include "TiffFile.h"

#include <array>
#include <cstdint>
#include <vector>

namespace Pelgra {

/// How the samples of a page are stored and what becomes of them.
struct TiffLayout {
    /// Reads the current page's tags. Throws DecodeError where they cannot describe a picture.
    explicit TiffLayout(const TiffFile& file);

    int width = 0;
    int height = 0;
    int bits = 1; ///< of a sample as stored
    int samples = 1; ///< to the pixel
    int usedSamples = 1; ///< the first ones, which have a place in the picture
    std::uint16_t format = SAMPLEFORMAT_UINT;
    bool isPlanar = false; ///< every sample in a plane of its own
    bool isInverted = false; ///< 0 is white
    bool isPremultiplied = false;
    std::vector<std::array<std::uint8_t, 3>> palette; ///< colours by sample value; empty where samples are colours
    ColorModel model = ColorModel::gray;
    bool hasAlpha = false;
    int outputBits = 8;
    bool isReadable = true; ///< false where only the library's own conversion knows the colours

    /// Whether stored rows are the picture's rows as they are.
    bool isDirect() const;

private:
    void readColors(const TiffFile& file);
    void readPalette(const TiffFile& file);
    void readExtraSamples(const TiffFile& file, int colors);
};

} // namespace Pelgra
