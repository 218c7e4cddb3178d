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

/// What stands before an image about its place in time.
struct ImageControl {
    int transparentColor = NO_TRANSPARENT_COLOR;
    int disposal = DISPOSAL_UNSPECIFIED;
};

/// Reads up to the next image; none where there are no more.
std::optional<ImageControl> findImage(GifFileType* gif)
{
    ImageControl found;
    GifRecordType record = UNDEFINED_RECORD_TYPE;
    while (DGifGetRecordType(gif, &record) == GIF_OK) {
        if (record == IMAGE_DESC_RECORD_TYPE && DGifGetImageDesc(gif) == GIF_OK)
            return found;
        if (record != EXTENSION_RECORD_TYPE)
            break;
        int code = 0;
        GifByteType* block = nullptr;
        if (DGifGetExtension(gif, &code, &block) != GIF_OK)
            break;
        while (block) {
            GraphicsControlBlock control{};
            if (code == GRAPHICS_EXT_FUNC_CODE && DGifExtensionToGCB(block[0], block + 1, &control) == GIF_OK)
                found = {control.TransparentColor, control.DisposalMode};
            if (DGifGetExtensionNext(gif, &block) != GIF_OK)
                throw DecodeError("GIF: the file is damaged");
        }
    }
    return std::nullopt;
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

void clear(const Placement& place, RasterImage& screen)
{
    const int right = std::min(place.left + place.width, screen.width);
    for (int y = place.top; place.left < right && y < std::min(place.top + place.height, screen.height); ++y) {
        const std::span<std::byte> row = screen.row(y);
        std::fill(row.data() + static_cast<std::size_t>(place.left) * screen.bytesPerPixel(),
                  row.data() + static_cast<std::size_t>(right) * screen.bytesPerPixel(), std::byte{0});
    }
}

RasterImage emptyScreen(const GifFileType& gif, const Placement& place, bool hasAlpha)
{
    // Programs old and new write a screen without a size; the image's own counts then.
    std::optional<RasterImage> screen =
        RasterImage::make(gif.SWidth > 0 ? gif.SWidth : place.left + place.width,
                          gif.SHeight > 0 ? gif.SHeight : place.top + place.height, ColorModel::rgb, hasAlpha, 8);
    if (!screen)
        throw DecodeError("GIF: too large");
    std::fill(screen->pixels.begin(), screen->pixels.end(), std::byte{0});
    return std::move(*screen);
}

/// What the screen shows with the image of this index.
RasterImage screenWith(std::span<const std::byte> file, int index)
{
    int error = 0;
    const Gif gif(DGifOpen(&file, provideBytes, &error));
    if (!gif)
        throw DecodeError("GIF: no header");
    std::optional<RasterImage> screen;
    for (int number = 0;; ++number) {
        const std::optional<ImageControl> control = findImage(gif.get());
        if (!control)
            throw DecodeError("GIF: no image");
        const GifImageDesc& image = gif->Image;
        const Placement place{image.Left, image.Top, image.Width, image.Height, image.Interlace};
        if (place.width < 1 || place.height < 1)
            throw DecodeError("GIF: an empty image");
        if (!RasterImage::fits(static_cast<std::uint64_t>(place.width), static_cast<std::uint64_t>(place.height), 4))
            throw DecodeError("GIF: too large");
        // A screen filled by its only image, without a transparent colour, has no use for alpha.
        const bool hasAlpha = index > 0 || control->transparentColor != NO_TRANSPARENT_COLOR || !place.covers(*gif);
        if (!screen)
            screen = emptyScreen(*gif, place, hasAlpha);
        std::optional<RasterImage> before;
        if (number < index && control->disposal == DISPOSE_PREVIOUS)
            before = screen;
        if (readRows(gif.get(), place, control->transparentColor, *screen) == 0)
            throw DecodeError("GIF: no rows");
        if (number == index)
            return std::move(*screen);
        if (control->disposal == DISPOSE_BACKGROUND)
            clear(place, *screen);
        else if (before)
            screen = std::move(before);
    }
}

} // namespace

DecodedImage decodeGif(std::span<const std::byte> file, int index)
{
    DecodedImage decoded;
    try {
        decoded.image = screenWith(file, std::max(index, 0));
    } catch (const DecodeError&) {
        if (index <= 0)
            throw;
        decoded.image = screenWith(file, 0);
    }
    return decoded;
}

} // namespace Pelgra
