#pragma once

#include "PelgraCore/RasterImage.h"
#include "Support/TemporaryFolder.h"

#include <array>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

/// Small image files written by the tests themselves.
namespace Pelgra {

/// Where a probe is taken: the corners of the upright or stored picture.
enum class Quadrant { topLeft, topRight, bottomLeft, bottomRight };

/// The components of testPicture() in a quadrant, in its own depth. RGB: red, green, blue, yellow. Alpha, where there
/// is any, is full on the left, three fifths at the top right and a fifth at the bottom right.
std::vector<int> quadrantComponents(ColorModel model, bool hasAlpha, int bitsPerComponent, Quadrant quadrant);

/// A picture with one flat colour in each quadrant, so that its orientation can be probed.
RasterImage testPicture(int width, int height, ColorModel model = ColorModel::rgb, bool hasAlpha = false,
                        int bitsPerComponent = 8);

/// A picture without flat areas: smooth ramps with a little noise, the same at every call.
RasterImage rampPicture(int width, int height, ColorModel model = ColorModel::rgb, bool hasAlpha = false,
                        int bitsPerComponent = 8);

/// The components of one pixel.
std::vector<int> componentsAt(const RasterImage& image, int x, int y);

/// The components in the middle of a quadrant.
std::vector<int> componentsIn(const RasterImage& image, Quadrant quadrant);

/// The largest difference between two lists of components; the largest int when their lengths differ.
int largestDifference(const std::vector<int>& left, const std::vector<int>& right);

/// The largest difference between two pictures; the largest int when their forms differ.
int largestDifference(const RasterImage& left, const RasterImage& right);

struct ExifSampleOptions {
    std::optional<unsigned> orientation = {};
    std::optional<std::pair<unsigned, unsigned>> resolution = {}; ///< across and down, in whole dots
    unsigned resolutionUnit = 2; ///< 1 none, 2 inch, 3 centimetre
    bool withThumbnail = false; ///< a second directory with a preview's tags and bytes
    bool withStructure = false; ///< tags of the old file's storage: width, compression, strips, samples
    bool bigEndian = false;
};

/// A TIFF structure with Make "Pelgra", an EXIF directory (exposure time 1/125, DateTimeOriginal
/// "2024:05:06 07:08:09", pixel dimensions 9999 × 9999, lens model "Lens 50") and a GPS directory (48° 12′ 30″ N).
Bytes exifSample(const ExifSampleOptions& options = {});

/// IIM data sets with the given keyword and by-line "Ada".
Bytes iptcSample(std::string_view keyword = "harbour");

/// An XMP packet with the auxiliary property aux:Lens "Lens 50", and dc:title and xmp:CreatorTool that must not travel.
Bytes xmpSample();

/// An RGB profile whose primaries are not those of sRGB.
Bytes wideRgbProfile();

/// A grey profile with a gamma of 2.2.
Bytes grayProfile();

struct JpegSampleOptions {
    int quality = 95;
    bool progressive = false;
    /// JFIF density unit (0 none, 1 inch, 2 centimetre) and values; no JFIF header at all where absent.
    std::optional<std::array<unsigned, 3>> density = {};
    std::optional<unsigned> orientation = {}; ///< adds an EXIF block of its own unless exif is given
    Bytes exif = {}, iptc = {}, xmp = {}, iccProfile = {};
    bool adobeMarker = true; ///< for CMYK: stored inverted as every Adobe program does
    bool chromaSubsampling = false;
};

/// Grey, RGB or CMYK in 8 bits without alpha.
Bytes jpegSample(const RasterImage& image, const JpegSampleOptions& options = {});

struct PngSampleOptions {
    bool interlaced = false;
    /// Pixels per unit across and down, and the unit (0 unknown, 1 metre).
    std::optional<std::array<std::uint32_t, 3>> density = {};
    Bytes exif = {}, xmp = {}, iccProfile = {};
    std::optional<double> gamma = {}; ///< encoding exponent
    std::optional<std::array<double, 8>> chromaticities = {}; ///< white, red, green, blue as x and y
};

/// Grey or RGB, with or without alpha, in 8 or 16 bits.
Bytes pngSample(const RasterImage& image, const PngSampleOptions& options = {});

/// Palette and low-depth PNGs, from indexes or grey levels, one byte for each pixel.
struct PngIndexedOptions {
    int bits = 8; ///< 1, 2, 4 or 8
    std::vector<std::array<std::uint8_t, 4>> palette = {}; ///< red, green, blue, alpha; empty for grey
    std::optional<int> transparentGray = {};
    bool interlaced = false;
};
Bytes indexedPngSample(int width, int height, const std::vector<std::uint8_t>& values,
                       const PngIndexedOptions& options);

/// Lossless WebP of an 8-bit RGB picture, with or without alpha.
Bytes webpSample(const RasterImage& image, const Bytes& exif = {}, const Bytes& iccProfile = {});

/// An animation of WebP pictures of one size, each so many pixels (an even number) from the left and the top of the
/// canvas.
Bytes webpAnimationSample(const std::vector<Bytes>& frames, int offset = 0);

/// A HEIC picture with a reduced copy of it, which the file names as its primary picture.
Bytes heicWithReducedPrimary(const RasterImage& image, int reducedSide);

/// A HEIC of two 8-bit RGB pictures, the primary one being the second in the file.
Bytes heicOfTwo(const RasterImage& primary, const RasterImage& other);

/// The primary picture of a HEIC file as its library reads it, in 8-bit RGB.
RasterImage heicByLibrary(const Bytes& file);

Bytes bytesOf(std::string_view text);
std::filesystem::path write(const TemporaryFolder& folder, std::string_view name, const Bytes& bytes);

} // namespace Pelgra
