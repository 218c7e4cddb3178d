#include "TiffLayout.h"

#include <algorithm>
#include <limits>

namespace Pelgra {

namespace {

bool isReadableDepth(int bits, std::uint16_t format)
{
    if (format == SAMPLEFORMAT_IEEEFP)
        return bits == 32 || bits == 64;
    const bool whole = format == SAMPLEFORMAT_UINT || format == SAMPLEFORMAT_VOID || format == SAMPLEFORMAT_INT;
    return whole && ((bits >= 1 && bits <= 16) || bits == 32);
}

} // namespace

TiffLayout::TiffLayout(const TiffFile& file)
{
    const std::uint32_t storedWidth = file.number(TIFFTAG_IMAGEWIDTH, 0);
    const std::uint32_t storedHeight = file.number(TIFFTAG_IMAGELENGTH, 0);
    bits = file.shortNumber(TIFFTAG_BITSPERSAMPLE, 1);
    samples = file.shortNumber(TIFFTAG_SAMPLESPERPIXEL, 1);
    format = file.shortNumber(TIFFTAG_SAMPLEFORMAT, SAMPLEFORMAT_UINT);
    isPlanar = file.shortNumber(TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG) == PLANARCONFIG_SEPARATE && samples > 1;
    // Both what is stored for a pixel and the four bytes the library's conversion makes of it must stay in bounds.
    const std::size_t pixelBytes =
        std::max<std::size_t>(static_cast<std::size_t>(bits) * static_cast<std::size_t>(samples) / 8, 4);
    if (samples < 1 || bits < 1 || !RasterImage::fits(storedWidth, storedHeight, pixelBytes))
        throw DecodeError("the page is empty or too large");
    width = static_cast<int>(storedWidth);
    height = static_cast<int>(storedHeight);
    outputBits = bits > 8 ? 16 : 8;
    isReadable = isReadableDepth(bits, format);
    readColors(file);
}

void TiffLayout::readColors(const TiffFile& file)
{
    std::uint16_t photometric = file.shortNumber(TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK);
    const std::uint16_t compression = file.shortNumber(TIFFTAG_COMPRESSION, COMPRESSION_NONE);
    if (photometric == PHOTOMETRIC_YCBCR && compression == COMPRESSION_JPEG && !isPlanar) {
        // The JPEG decoder then gives whole RGB pixels, whatever the sampling.
        TIFFSetField(file.get(), TIFFTAG_JPEGCOLORMODE, JPEGCOLORMODE_RGB);
        photometric = PHOTOMETRIC_RGB;
    }
    int colors = 1;
    switch (photometric) {
    case PHOTOMETRIC_MINISWHITE:
        isInverted = true;
        break;
    case PHOTOMETRIC_MINISBLACK:
    case PHOTOMETRIC_MASK:
        break;
    case PHOTOMETRIC_RGB:
        model = ColorModel::rgb;
        colors = 3;
        break;
    case PHOTOMETRIC_PALETTE:
        model = ColorModel::rgb;
        readPalette(file);
        break;
    case PHOTOMETRIC_SEPARATED:
        model = ColorModel::cmyk;
        colors = 4;
        isReadable = isReadable && file.shortNumber(TIFFTAG_INKSET, INKSET_CMYK) == INKSET_CMYK;
        break;
    default:
        isReadable = false;
        return;
    }
    isReadable = isReadable && samples >= colors;
    readExtraSamples(file, colors);
}

void TiffLayout::readPalette(const TiffFile& file)
{
    std::uint16_t* red = nullptr;
    std::uint16_t* green = nullptr;
    std::uint16_t* blue = nullptr;
    if (bits > 8 || TIFFGetField(file.get(), TIFFTAG_COLORMAP, &red, &green, &blue) != 1) {
        isReadable = false;
        return;
    }
    const std::size_t count = std::size_t{1} << bits;
    // Some writers store 8-bit values where the format wants 16-bit ones.
    const bool isShallow = std::all_of(red, red + count, [](int value) { return value < 256; })
        && std::all_of(green, green + count, [](int value) { return value < 256; })
        && std::all_of(blue, blue + count, [](int value) { return value < 256; });
    const auto reduced = [&](std::uint16_t value) {
        return static_cast<std::uint8_t>(isShallow ? value : (value * 255u + 32895u) >> 16);
    };
    for (std::size_t index = 0; index < count; ++index)
        palette.push_back({reduced(red[index]), reduced(green[index]), reduced(blue[index])});
}

void TiffLayout::readExtraSamples(const TiffFile& file, int colors)
{
    std::uint16_t count = 0;
    std::uint16_t* kinds = nullptr;
    if (TIFFGetFieldDefaulted(file.get(), TIFFTAG_EXTRASAMPLES, &count, &kinds) != 1)
        count = 0;
    // An extra sample that nothing explains is an alpha channel in practice.
    hasAlpha = model != ColorModel::cmyk && samples > colors;
    isPremultiplied = hasAlpha && count > 0 && kinds[0] == EXTRASAMPLE_ASSOCALPHA;
    usedSamples = colors + (hasAlpha ? 1 : 0);
}

bool TiffLayout::isDirect() const
{
    return !isPlanar && !isInverted && palette.empty() && samples == usedSamples && bits == outputBits
        && (format == SAMPLEFORMAT_UINT || format == SAMPLEFORMAT_VOID);
}

} // namespace Pelgra
