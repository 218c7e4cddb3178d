#include "TiffPixels.h"

#include "pixels/StraightAlpha.h"
#include "TiffSamples.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <optional>

namespace Pelgra {

namespace {

RasterImage makePicture(const TiffLayout& layout, ColorModel model, bool hasAlpha, int bits)
{
    std::optional<RasterImage> image = RasterImage::make(layout.width, layout.height, model, hasAlpha, bits);
    if (!image)
        throw DecodeError("the page is too large");
    std::fill(image->pixels.begin(), image->pixels.end(), std::byte{0});
    return std::move(*image);
}

/// Reads row by row. Returns whether anything could be read.
bool readStrips(const TiffFile& file, const TiffLayout& layout, RasterImage& image)
{
    const tmsize_t rowBytes = TIFFScanlineSize(file.get());
    if (rowBytes <= 0)
        return false;
    const bool isDirect = layout.isDirect() && static_cast<std::size_t>(rowBytes) == image.row(0).size();
    PixelBuffer stored;
    stored.resize(static_cast<std::size_t>(rowBytes));
    TiffSamples samples(layout);
    bool any = false;
    for (int plane = 0; plane < (layout.isPlanar ? layout.usedSamples : 1); ++plane) {
        for (int y = 0; y < image.height; ++y) {
            std::byte* const to = isDirect ? image.row(y).data() : stored.data();
            if (TIFFReadScanline(file.get(), to, static_cast<std::uint32_t>(y), static_cast<std::uint16_t>(plane)) != 1)
                continue;
            any = true;
            if (!isDirect)
                samples.place(stored, plane, layout.width, 0, image.row(y));
        }
    }
    return any;
}

bool readTiles(const TiffFile& file, const TiffLayout& layout, RasterImage& image)
{
    const auto tileWidth = static_cast<int>(std::min<std::uint32_t>(file.number(TIFFTAG_TILEWIDTH, 0), 1 << 24));
    const auto tileHeight = static_cast<int>(std::min<std::uint32_t>(file.number(TIFFTAG_TILELENGTH, 0), 1 << 24));
    const tmsize_t tileBytes = TIFFTileSize(file.get());
    const tmsize_t rowBytes = TIFFTileRowSize(file.get());
    constexpr tmsize_t tileLimit = tmsize_t{256} << 20;
    if (tileWidth < 1 || tileHeight < 1 || rowBytes < 1 || tileBytes > tileLimit || tileBytes / rowBytes < tileHeight)
        throw DecodeError("the tiles make no sense");
    PixelBuffer tile;
    tile.resize(static_cast<std::size_t>(tileBytes));
    TiffSamples samples(layout);
    bool any = false;
    const auto readTile = [&](int plane, int x, int y) {
        if (TIFFReadTile(file.get(), tile.data(), static_cast<std::uint32_t>(x), static_cast<std::uint32_t>(y), 0,
                         static_cast<std::uint16_t>(plane))
            < 0)
            return;
        any = true;
        for (int row = 0; row < std::min(tileHeight, image.height - y); ++row) {
            const auto stored = std::span<const std::byte>(tile).subspan(
                static_cast<std::size_t>(row) * static_cast<std::size_t>(rowBytes), static_cast<std::size_t>(rowBytes));
            samples.place(stored, plane, std::min(tileWidth, image.width - x), x, image.row(y + row));
        }
    };
    for (int plane = 0; plane < (layout.isPlanar ? layout.usedSamples : 1); ++plane) {
        for (int y = 0; y < image.height; y += tileHeight) {
            for (int x = 0; x < image.width; x += tileWidth)
                readTile(plane, x, y);
        }
    }
    return any;
}

struct RgbaEnd {
    void operator()(TIFFRGBAImage* image) const { TIFFRGBAImageEnd(image); }
};

/// The library's own conversion, for colours nothing else here knows: 8 bits, premultiplied.
RasterImage readConverted(const TiffFile& file, const TiffLayout& layout)
{
    std::array<char, 1024> message{};
    TIFFRGBAImage converter{};
    if (TIFFRGBAImageOK(file.get(), message.data()) != 1
        || TIFFRGBAImageBegin(&converter, file.get(), 1, message.data()) != 1)
        throw DecodeError("colours of an unknown kind");
    const std::unique_ptr<TIFFRGBAImage, RgbaEnd> guard(&converter);
    converter.req_orientation = converter.orientation; // as stored
    const bool hasAlpha = converter.alpha != 0;
    RasterImage image = makePicture(layout, ColorModel::rgb, hasAlpha, 8);
    std::vector<std::uint32_t> pixels(static_cast<std::size_t>(layout.width) * static_cast<std::size_t>(layout.height));
    if (TIFFRGBAImageGet(&converter, pixels.data(), converter.width, converter.height) != 1)
        throw DecodeError("the page cannot be decoded");
    std::byte* to = image.pixels.data();
    for (const std::uint32_t pixel : pixels) {
        for (unsigned component = 0; component < (hasAlpha ? 4u : 3u); ++component)
            *to++ = static_cast<std::byte>(pixel >> (8 * component) & 0xFF);
    }
    makeAlphaStraight(image);
    return image;
}

} // namespace

RasterImage readTiffPixels(const TiffFile& file, const TiffLayout& layout)
{
    if (!TIFFIsCODECConfigured(file.shortNumber(TIFFTAG_COMPRESSION, COMPRESSION_NONE)))
        throw DecodeError("a compression nobody reads");
    if (!layout.isReadable)
        return readConverted(file, layout);
    RasterImage image = makePicture(layout, layout.model, layout.hasAlpha, layout.outputBits);
    const bool any = TIFFIsTiled(file.get()) ? readTiles(file, layout, image) : readStrips(file, layout, image);
    if (!any)
        throw DecodeError("no row can be decoded");
    if (layout.isPremultiplied)
        makeAlphaStraight(image);
    return image;
}

} // namespace Pelgra
