#include "codecs/GifDecoder.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>
#include <optional>
#include <vector>

#include <gif_lib.h>

namespace Pelgra {

namespace {

struct GifDeleter {
    void operator()(GifFileType* gif) const { DGifCloseFile(gif, nullptr); }
};
using Gif = std::unique_ptr<GifFileType, GifDeleter>;

int provideBytes(GifFileType* gif, GifByteType* target, int size)
{
    auto& rest = *static_cast<std::span<const std::byte>*>(gif->UserData);
    const std::size_t count = std::min(static_cast<std::size_t>(std::max(size, 0)), rest.size());
    std::memcpy(target, rest.data(), count);
    rest = rest.subspan(count);
    return static_cast<int>(count);
}

/// Reads up to the first image. Returns the index of its transparent colour, or NO_TRANSPARENT_COLOR.
int findFirstImage(GifFileType* gif)
{
    int transparentColor = NO_TRANSPARENT_COLOR;
    GifRecordType record = UNDEFINED_RECORD_TYPE;
    while (DGifGetRecordType(gif, &record) == GIF_OK) {
        if (record == IMAGE_DESC_RECORD_TYPE && DGifGetImageDesc(gif) == GIF_OK)
            return transparentColor;
        if (record != EXTENSION_RECORD_TYPE)
            break;
        int code = 0;
        GifByteType* block = nullptr;
        if (DGifGetExtension(gif, &code, &block) != GIF_OK)
            break;
        while (block) {
            GraphicsControlBlock control{};
            if (code == GRAPHICS_EXT_FUNC_CODE && DGifExtensionToGCB(block[0], block + 1, &control) == GIF_OK)
                transparentColor = control.TransparentColor;
            if (DGifGetExtensionNext(gif, &block) != GIF_OK)
                throw DecodeError("GIF: the file is damaged");
        }
    }
    throw DecodeError("GIF: no image");
}

/// The rows of an image in the order they are stored (GIF89a, appendix E).
std::vector<int> rowOrder(int height, bool isInterlaced)
{
    std::vector<int> order;
    order.reserve(static_cast<std::size_t>(height));
    struct Pass {
        int first, step;
    };
    static constexpr std::array<Pass, 4> interlacedPasses{{{0, 8}, {4, 8}, {2, 4}, {1, 2}}};
    static constexpr std::array<Pass, 1> plainPass{{{0, 1}}};
    for (const Pass pass : isInterlaced ? std::span<const Pass>(interlacedPasses) : std::span<const Pass>(plainPass)) {
        for (int row = pass.first; row < height; row += pass.step)
            order.push_back(row);
    }
    return order;
}

/// Where the image lies on the screen; what juts out is cut off.
struct Placement {
    int left = 0, top = 0, width = 0, height = 0;
    bool isInterlaced = false;

    bool covers(const GifFileType& gif) const
    {
        return left == 0 && top == 0 && width >= gif.SWidth && height >= gif.SHeight;
    }
};

/// The colours of the image's indexes, as many as a byte can name.
std::array<GifColorType, 256> paletteOf(const GifFileType& gif)
{
    const ColorMapObject* const map = gif.Image.ColorMap ? gif.Image.ColorMap : gif.SColorMap;
    if (!map || !map->Colors)
        throw DecodeError("GIF: no colours");
    std::array<GifColorType, 256> palette{};
    std::copy_n(map->Colors, std::min(map->ColorCount, 256), palette.begin());
    return palette;
}

void putRow(std::span<const GifPixelType> indexes, const std::array<GifColorType, 256>& palette, int transparentColor,
            int left, std::size_t pixelBytes, std::span<std::byte> row)
{
    std::byte* pixel = row.data() + static_cast<std::size_t>(left) * pixelBytes;
    for (const GifPixelType index : indexes) {
        if (index != transparentColor) {
            const GifColorType color = palette[index];
            pixel[0] = std::byte{color.Red};
            pixel[1] = std::byte{color.Green};
            pixel[2] = std::byte{color.Blue};
            if (pixelBytes == 4)
                pixel[3] = std::byte{0xFF};
        }
        pixel += pixelBytes;
    }
}

/// Returns the number of rows that came.
std::size_t readRows(GifFileType* gif, const Placement& place, int transparentColor, RasterImage& screen)
{
    const std::array<GifColorType, 256> palette = paletteOf(*gif);
    std::vector<GifPixelType> indexes(static_cast<std::size_t>(place.width));
    const int visible = std::clamp(screen.width - place.left, 0, place.width);
    std::size_t rows = 0;
    for (const int row : rowOrder(place.height, place.isInterlaced)) {
        if (DGifGetLine(gif, indexes.data(), place.width) != GIF_OK)
            break;
        ++rows;
        if (place.top + row < screen.height && visible > 0)
            putRow(std::span(indexes).first(static_cast<std::size_t>(visible)), palette, transparentColor, place.left,
                   screen.bytesPerPixel(), screen.row(place.top + row));
    }
    return rows;
}

} // namespace

DecodedImage decodeGif(std::span<const std::byte> file)
{
    std::span<const std::byte> rest = file;
    int error = 0;
    const Gif gif(DGifOpen(&rest, provideBytes, &error));
    if (!gif)
        throw DecodeError("GIF: no header");
    const int transparentColor = findFirstImage(gif.get());
    const GifImageDesc& image = gif->Image;
    const Placement place{image.Left, image.Top, image.Width, image.Height, image.Interlace};
    if (place.width < 1 || place.height < 1)
        throw DecodeError("GIF: an empty image");

    // A screen filled by its only image, without a transparent colour, has no use for alpha.
    const bool hasAlpha = transparentColor != NO_TRANSPARENT_COLOR || !place.covers(*gif);
    // Programs old and new write a screen without a size; the image's own counts then.
    std::optional<RasterImage> screen =
        RasterImage::make(gif->SWidth > 0 ? gif->SWidth : place.left + place.width,
                          gif->SHeight > 0 ? gif->SHeight : place.top + place.height, ColorModel::rgb, hasAlpha, 8);
    if (!screen
        || !RasterImage::fits(static_cast<std::uint64_t>(place.width), static_cast<std::uint64_t>(place.height), 4))
        throw DecodeError("GIF: too large");
    std::fill(screen->pixels.begin(), screen->pixels.end(), std::byte{0});
    if (readRows(gif.get(), place, transparentColor, *screen) == 0)
        throw DecodeError("GIF: no rows");
    DecodedImage decoded;
    decoded.image = std::move(*screen);
    return decoded;
}

} // namespace Pelgra
