#include "TiffPixels.h"

#include "pixels/StraightAlpha.h"
#include "TiffSamples.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>
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

/// Whether a page has colours of CIE L*a*b* that are stored in rows, in the one form that is common.
bool isPlainLab(const TiffFile& file, const TiffLayout& layout)
{
    return file.shortNumber(TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK) == PHOTOMETRIC_CIELAB && layout.bits == 8
        && layout.samples == 3 && !layout.isPlanar && !TIFFIsTiled(file.get());
}

/// The library's conversion of CIE L*a*b* to sRGB, as its own reading of whole pages sets it up.
class LabConversion {
public:
    explicit LabConversion(const TiffFile& file)
        : m_state(std::make_unique<TIFFCIELabToRGB>())
    {
        // The colours of the screen as light (IEC 61966-2-1), its whites and its gamma.
        constexpr TIFFDisplay display{
            {{3.2410F, -1.5374F, -0.4986F}, {-0.9692F, 1.8760F, 0.0416F}, {0.0556F, -0.2040F, 1.0570F}},
            100,
            100,
            100,
            255,
            255,
            255,
            1,
            1,
            1,
            2.4F,
            2.4F,
            2.4F};
        float* point = nullptr;
        if (TIFFGetFieldDefaulted(file.get(), TIFFTAG_WHITEPOINT, &point) != 1 || point[1] == 0)
            throw DecodeError("white is nowhere");
        float white[3] = {point[0] / point[1] * 100, 100, (1 - point[0] - point[1]) / point[1] * 100};
        if (TIFFCIELabToRGBInit(m_state.get(), &display, white) < 0)
            throw DecodeError("colours of an unknown kind");
    }

    void convert(std::span<const std::byte> from, std::span<std::byte> to)
    {
        for (std::size_t index = 0; index + 3 <= from.size(); index += 3) {
            // Neighbours are often alike, and converting takes long.
            if (!std::equal(m_last.begin(), m_last.end(), from.begin() + static_cast<std::ptrdiff_t>(index))
                || !m_isKnown)
                convertPixel(from.subspan(index, 3));
            std::copy(m_color.begin(), m_color.end(), to.begin() + static_cast<std::ptrdiff_t>(index));
        }
    }

private:
    void convertPixel(std::span<const std::byte> pixel)
    {
        const auto signedSample = [&](std::size_t index) {
            return std::int32_t{static_cast<signed char>(std::to_integer<unsigned char>(pixel[index]))};
        };
        float x = 0, y = 0, z = 0;
        TIFFCIELabToXYZ(m_state.get(), std::to_integer<std::uint32_t>(pixel[0]), signedSample(1), signedSample(2), &x,
                        &y, &z);
        std::array<std::uint32_t, 3> color{};
        TIFFXYZToRGB(m_state.get(), x, y, z, &color[0], &color[1], &color[2]);
        std::copy(pixel.begin(), pixel.end(), m_last.begin());
        std::transform(color.begin(), color.end(), m_color.begin(),
                       [](std::uint32_t value) { return static_cast<std::byte>(value & 0xFF); });
        m_isKnown = true;
    }

    std::unique_ptr<TIFFCIELabToRGB> m_state;
    std::array<std::byte, 3> m_last{};
    std::array<std::byte, 3> m_color{};
    bool m_isKnown = false;
};

/// Reads and converts row by row: the library would hold the page three times over.
RasterImage readLab(const TiffFile& file, const TiffLayout& layout)
{
    RasterImage image = makePicture(layout, ColorModel::rgb, false, 8);
    PixelBuffer stored;
    stored.resize(image.row(0).size());
    if (TIFFScanlineSize(file.get()) != static_cast<tmsize_t>(stored.size()))
        throw DecodeError("the rows make no sense");
    LabConversion conversion(file);
    for (int y = 0; y < image.height; ++y) {
        if (TIFFReadScanline(file.get(), stored.data(), static_cast<std::uint32_t>(y), 0) != 1)
            throw DecodeError("the page cannot be decoded");
        conversion.convert(stored, image.row(y));
    }
    return image;
}

struct RgbaEnd {
    void operator()(TIFFRGBAImage* image) const { TIFFRGBAImageEnd(image); }
};

/// How many rows the library decodes at once.
int rowsAtOnce(const TiffFile& file, const TiffLayout& layout)
{
    const std::uint32_t tag = TIFFIsTiled(file.get()) ? TIFFTAG_TILELENGTH : TIFFTAG_ROWSPERSTRIP;
    const auto height = static_cast<std::uint32_t>(layout.height);
    return static_cast<int>(std::clamp<std::uint32_t>(file.number(tag, height), 1, height));
}

/// The library's own conversion, for colours nothing else here knows: 8 bits, premultiplied. Strip by strip, so that
/// there is no second picture.
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
    const int band = rowsAtOnce(file, layout);
    std::vector<std::uint32_t> pixels(static_cast<std::size_t>(layout.width) * static_cast<std::size_t>(band));
    std::byte* to = image.pixels.data();
    for (int top = 0; top < layout.height; top += band) {
        const int rows = std::min(band, layout.height - top);
        converter.row_offset = top;
        if (TIFFRGBAImageGet(&converter, pixels.data(), converter.width, static_cast<std::uint32_t>(rows)) != 1)
            throw DecodeError("the page cannot be decoded");
        pixels.resize(static_cast<std::size_t>(layout.width) * static_cast<std::size_t>(rows)); // the last is shorter
        for (const std::uint32_t pixel : pixels) {
            for (unsigned component = 0; component < (hasAlpha ? 4u : 3u); ++component)
                *to++ = static_cast<std::byte>(pixel >> (8 * component) & 0xFF);
        }
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
        return isPlainLab(file, layout) ? readLab(file, layout) : readConverted(file, layout);
    RasterImage image = makePicture(layout, layout.model, layout.hasAlpha, layout.outputBits);
    const bool any = TIFFIsTiled(file.get()) ? readTiles(file, layout, image) : readStrips(file, layout, image);
    if (!any)
        throw DecodeError("no row can be decoded");
    if (layout.isPremultiplied)
        makeAlphaStraight(image);
    return image;
}

} // namespace Pelgra
