#include "codecs/bmp/BmpDecoder.h"

#include "codecs/bmp/BmpHeader.h"
#include "codecs/jpeg/JpegDecoder.h"
#include "codecs/png/PngDecoder.h"

#include <algorithm>
#include <cstring>
#include <vector>

namespace Pelgra {

namespace {

RasterImage makeImage(const BmpHeader& header, bool hasAlpha)
{
    std::optional<RasterImage> image = RasterImage::make(header.width, header.height, ColorModel::rgb, hasAlpha, 8);
    if (!image)
        throw DecodeError("BMP: too large");
    return std::move(*image);
}

void putColor(std::byte* pixel, const std::array<std::uint8_t, 3>& color)
{
    pixel[0] = std::byte{color[0]};
    pixel[1] = std::byte{color[1]};
    pixel[2] = std::byte{color[2]};
}

/// Puts the pixels of run-length codes where they belong. What no code names keeps the first colour of the palette.
class RunLengthPainter {
public:
    RunLengthPainter(const BmpHeader& header, RasterImage& image)
        : m_header(header)
        , m_image(image)
    {
    }

    void paint()
    {
        std::span<const std::byte> codes = m_header.pixels;
        const std::size_t pixelSize = m_header.compression == BmpCompression::runLength24 ? 3 : 1;
        while (codes.size() >= 2 && m_y < m_image.height) {
            const auto count = std::to_integer<std::size_t>(codes[0]);
            if (count > 0) {
                if (codes.size() < 1 + pixelSize)
                    return;
                paintRun(count, codes.subspan(1, pixelSize));
                codes = codes.subspan(1 + pixelSize);
                continue;
            }
            const auto escape = std::to_integer<std::size_t>(codes[1]);
            codes = codes.subspan(2);
            if (escape == 1 || !follow(escape, codes))
                return;
        }
    }

private:
    /// A code after a zero: 0 ends the line, 2 moves on, larger ones count pixels that follow. False at the end.
    bool follow(std::size_t escape, std::span<const std::byte>& codes)
    {
        if (escape == 0) {
            m_x = 0;
            ++m_y;
            return true;
        }
        if (escape == 2) {
            if (codes.size() < 2)
                return false;
            m_x += std::to_integer<int>(codes[0]);
            m_y += std::to_integer<int>(codes[1]);
            codes = codes.subspan(2);
            return true;
        }
        const std::size_t size = (escape * bitsOfCode() + 7) / 8;
        const std::span<const std::byte> literals = codes.first(std::min(size, codes.size()));
        for (std::size_t index = 0; index < escape && index * bitsOfCode() / 8 < literals.size(); ++index)
            paintLiteral(literals, index);
        codes = codes.subspan(std::min(codes.size(), size + size % 2));
        return true;
    }

    std::size_t bitsOfCode() const { return static_cast<std::size_t>(m_header.bitsPerPixel); }

    void paintLiteral(std::span<const std::byte> literals, std::size_t index)
    {
        if (m_header.compression == BmpCompression::runLength24) {
            if (literals.size() >= index * 3 + 3)
                put(colorOf(literals.subspan(index * 3, 3)));
            return;
        }
        put(paletteColor(indexAt(literals, index)));
    }

    void paintRun(std::size_t count, std::span<const std::byte> value)
    {
        for (std::size_t index = 0; index < count; ++index) {
            if (m_header.compression == BmpCompression::runLength24)
                put(colorOf(value));
            else
                put(paletteColor(m_header.compression == BmpCompression::runLength4 ? indexAt(value, index % 2)
                                                                                    : indexAt(value, 0)));
        }
    }

    std::size_t indexAt(std::span<const std::byte> bytes, std::size_t index) const
    {
        if (m_header.compression == BmpCompression::runLength8)
            return std::to_integer<std::size_t>(bytes[index]);
        return std::to_integer<std::size_t>(bytes[index / 2]) >> (index % 2 == 0 ? 4 : 0) & 0xF;
    }

    const std::array<std::uint8_t, 3>& paletteColor(std::size_t index) const { return m_header.palette[index]; }

    static std::array<std::uint8_t, 3> colorOf(std::span<const std::byte> bytes)
    {
        return {std::to_integer<std::uint8_t>(bytes[2]), std::to_integer<std::uint8_t>(bytes[1]),
                std::to_integer<std::uint8_t>(bytes[0])};
    }

    /// Beyond the edges nothing is painted.
    void put(const std::array<std::uint8_t, 3>& color)
    {
        if (m_x < m_image.width && m_y < m_image.height) {
            const int row = m_header.isTopDown ? m_y : m_image.height - 1 - m_y;
            putColor(m_image.row(row).data() + static_cast<std::size_t>(m_x) * 3, color);
            ++m_x;
        }
    }

    const BmpHeader& m_header;
    RasterImage& m_image;
    int m_x = 0;
    int m_y = 0;
};

RasterImage decodeRunLength(const BmpHeader& header)
{
    RasterImage image = makeImage(header, false);
    const std::array<std::uint8_t, 3> first =
        header.palette.empty() ? std::array<std::uint8_t, 3>{} : header.palette.front();
    for (std::size_t place = 0; place + 3 <= image.pixels.size(); place += 3)
        putColor(image.pixels.data() + place, first);
    RunLengthPainter(header, image).paint();
    return image;
}

void convertPaletteRow(const BmpHeader& header, std::span<const std::byte> stored, std::span<std::byte> row)
{
    const auto bits = static_cast<unsigned>(header.bitsPerPixel);
    const unsigned perByte = 8 / bits, mask = (1U << bits) - 1;
    for (unsigned x = 0; x < static_cast<unsigned>(header.width); ++x) {
        const unsigned shift = 8 - bits - x % perByte * bits;
        putColor(row.data() + x * 3, header.palette[std::to_integer<unsigned>(stored[x / perByte]) >> shift & mask]);
    }
}

void convertTripleRow(const BmpHeader& header, std::span<const std::byte> stored, std::span<std::byte> row)
{
    for (std::size_t place = 0; place < static_cast<std::size_t>(header.width) * 3; place += 3) {
        row[place] = stored[place + 2];
        row[place + 1] = stored[place + 1];
        row[place + 2] = stored[place];
    }
}

void convertMaskedRow(const BmpHeader& header, std::span<const std::byte> stored, std::span<std::byte> row)
{
    const std::size_t storedSize = static_cast<std::size_t>(header.bitsPerPixel) / 8;
    const std::size_t size = row.size() / static_cast<std::size_t>(header.width);
    for (std::size_t x = 0; x < static_cast<std::size_t>(header.width); ++x) {
        std::uint32_t pixel = 0;
        for (std::size_t index = storedSize; index-- > 0;)
            pixel = pixel << 8 | std::to_integer<std::uint32_t>(stored[x * storedSize + index]);
        for (std::size_t component = 0; component < size; ++component)
            row[x * size + component] = std::byte{header.masks[component].componentOf(pixel)};
    }
}

void convertRow(const BmpHeader& header, std::span<const std::byte> stored, std::span<std::byte> row)
{
    if (header.bitsPerPixel <= 8)
        convertPaletteRow(header, stored, row);
    else if (header.bitsPerPixel == 24)
        convertTripleRow(header, stored, row);
    else
        convertMaskedRow(header, stored, row);
}

std::size_t storedRowBytes(const BmpHeader& header)
{
    return (static_cast<std::size_t>(header.width) * static_cast<std::size_t>(header.bitsPerPixel) + 31) / 32 * 4;
}

/// Whether the pixels hold transparency that is meant. A fourth byte that is zero everywhere is padding; one that is
/// full everywhere adds nothing.
bool hasMeantAlpha(const BmpHeader& header)
{
    if (header.bitsPerPixel != 32 && !header.hasAlphaMask)
        return false;
    const BmpMask& mask = header.masks[3];
    const std::size_t size = static_cast<std::size_t>(header.bitsPerPixel) / 8;
    const std::size_t rowBytes = static_cast<std::size_t>(header.width) * size;
    bool hasNone = true, isFull = true;
    for (std::size_t row = 0; row + rowBytes <= header.pixels.size() && (hasNone || isFull);
         row += storedRowBytes(header)) {
        for (std::size_t place = row; place < row + rowBytes; place += size) {
            std::uint32_t pixel = 0;
            for (std::size_t index = size; index-- > 0;)
                pixel = pixel << 8 | std::to_integer<std::uint32_t>(header.pixels[place + index]);
            hasNone = hasNone && (pixel & mask.mask) == 0;
            isFull = isFull && (pixel & mask.mask) == mask.mask;
        }
    }
    return !hasNone && !isFull;
}

RasterImage decodeRows(const BmpHeader& header)
{
    if (!RasterImage::fits(static_cast<std::uint64_t>(header.width), static_cast<std::uint64_t>(header.height), 3))
        throw DecodeError("BMP: too large");
    const std::size_t rowBytes = storedRowBytes(header);
    const std::size_t neededBytes =
        (static_cast<std::size_t>(header.width) * static_cast<std::size_t>(header.bitsPerPixel) + 7) / 8;
    if (header.pixels.size() < neededBytes)
        throw DecodeError("BMP: no rows");
    RasterImage image = makeImage(header, hasMeantAlpha(header));
    const std::byte blank = image.hasAlpha ? std::byte{0} : std::byte{0x80};
    for (int stored = 0; stored < header.height; ++stored) {
        const std::size_t place = static_cast<std::size_t>(stored) * rowBytes;
        const std::span<std::byte> row = image.row(header.isTopDown ? stored : header.height - 1 - stored);
        if (place + neededBytes <= header.pixels.size())
            convertRow(header, header.pixels.subspan(place, neededBytes), row);
        else
            std::fill(row.begin(), row.end(), blank);
    }
    return image;
}

RasterImage decodePixels(const BmpHeader& header)
{
    switch (header.compression) {
    case BmpCompression::none:
        return decodeRows(header);
    case BmpCompression::runLength8:
    case BmpCompression::runLength4:
    case BmpCompression::runLength24:
        return decodeRunLength(header);
    case BmpCompression::jpeg:
        return decodeJpeg(header.pixels).image;
    case BmpCompression::png:
        return decodePng(header.pixels).image;
    }
    throw DecodeError("BMP: an unknown compression");
}

} // namespace

DecodedImage decodeBmp(std::span<const std::byte> file)
{
    const BmpHeader header = readBmpHeader(file);
    DecodedImage decoded;
    decoded.image = decodePixels(header);
    decoded.dpiX = header.dpiX;
    decoded.dpiY = header.dpiY;
    if (!header.iccProfile.empty())
        decoded.image.iccProfile.assign(header.iccProfile.begin(), header.iccProfile.end());
    return decoded;
}

} // namespace Pelgra
