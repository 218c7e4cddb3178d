#include "codecs/bmp/BmpHeader.h"

#include "codecs/DecodedImage.h"
#include "metadata/ExifFields.h"
#include "metadata/MetadataBlocks.h"

#include <algorithm>
#include <bit>
#include <limits>

namespace Pelgra {

namespace {

constexpr std::size_t fileHeaderSize = 14;
constexpr std::size_t coreHeaderSize = 12, windowsHeaderSize = 40, os2HeaderSize = 64, version5HeaderSize = 124;

/// Little-endian numbers of the file; zero beyond its end.
class Fields {
public:
    explicit Fields(std::span<const std::byte> file)
        : m_file(file)
    {
    }

    std::uint32_t number(std::size_t place, std::size_t size) const
    {
        if (place > m_file.size() || m_file.size() - place < size)
            return 0;
        std::uint32_t value = 0;
        for (std::size_t index = size; index-- > 0;)
            value = value << 8 | std::to_integer<std::uint32_t>(m_file[place + index]);
        return value;
    }
    std::int32_t signedNumber(std::size_t place) const { return static_cast<std::int32_t>(number(place, 4)); }

    /// The bytes from a place on, at most size; fewer at the end of the file.
    std::span<const std::byte> part(std::size_t place, std::size_t size = std::dynamic_extent) const
    {
        const std::span<const std::byte> rest = m_file.subspan(std::min(place, m_file.size()));
        return rest.first(std::min(size, rest.size()));
    }

private:
    std::span<const std::byte> m_file;
};

BmpCompression compressionOf(std::uint32_t code, int bits, std::size_t headerSize)
{
    const bool isOs2 = headerSize == os2HeaderSize || headerSize == 16;
    switch (code) {
    case 0:
        return BmpCompression::none;
    case 1:
        if (bits == 8)
            return BmpCompression::runLength8;
        break;
    case 2:
        if (bits == 4)
            return BmpCompression::runLength4;
        break;
    case 3:
    case 6:
        if (!isOs2 && (bits == 16 || bits == 32))
            return BmpCompression::none; // masks, read apart
        break;
    case 4:
        if (isOs2 && bits == 24)
            return BmpCompression::runLength24;
        if (!isOs2)
            return BmpCompression::jpeg;
        break;
    case 5:
        return BmpCompression::png;
    }
    throw DecodeError("BMP: an unknown compression");
}

void checkBits(const BmpHeader& header)
{
    static constexpr std::array<int, 7> known{1, 2, 4, 8, 16, 24, 32};
    const bool isWrapped = header.compression == BmpCompression::jpeg || header.compression == BmpCompression::png;
    if (!isWrapped && std::find(known.begin(), known.end(), header.bitsPerPixel) == known.end())
        throw DecodeError("BMP: an unknown depth");
}

void setSize(BmpHeader& header, std::int64_t width, std::int64_t height)
{
    header.isTopDown = height < 0;
    height = height < 0 ? -height : height;
    if (width < 1 || height < 1 || height > std::numeric_limits<int>::max())
        throw DecodeError("BMP: no size");
    header.width = static_cast<int>(width);
    header.height = static_cast<int>(height);
}

/// Returns where the palette begins.
std::size_t readMasks(const Fields& fields, std::size_t headerSize, std::uint32_t compression, BmpHeader& header)
{
    constexpr std::uint32_t bitFields = 3, alphaBitFields = 6;
    const std::size_t headerEnd = fileHeaderSize + headerSize;
    const std::size_t masksPlace = fileHeaderSize + windowsHeaderSize;
    if (compression != bitFields && compression != alphaBitFields) {
        const bool isShort = header.bitsPerPixel == 16;
        header.masks = {BmpMask(isShort ? 0x7C00 : 0xFF0000), BmpMask(isShort ? 0x3E0 : 0xFF00),
                        BmpMask(isShort ? 0x1F : 0xFF), BmpMask(isShort ? 0 : 0xFF000000)};
        return headerEnd;
    }
    // In the plain header the masks follow it, in all later ones they are part of it.
    const bool isSequel = headerSize == windowsHeaderSize;
    const bool hasAlpha = isSequel ? compression == alphaBitFields : headerSize >= 56;
    for (std::size_t index = 0; index < (hasAlpha ? 4 : 3); ++index)
        header.masks[index] = BmpMask(fields.number(masksPlace + 4 * index, 4));
    header.hasAlphaMask = header.masks[3].mask != 0;
    return headerEnd + (isSequel ? (hasAlpha ? 16 : 12) : 0);
}

void readPalette(const Fields& fields, std::size_t place, std::size_t entrySize, std::uint32_t statedCount,
                 BmpHeader& header)
{
    if (header.bitsPerPixel > 8)
        return;
    const std::size_t possible = std::size_t{1} << header.bitsPerPixel;
    if (statedCount > 1024)
        throw DecodeError("BMP: an impossible palette");
    const std::size_t count = statedCount == 0 ? possible : std::min<std::size_t>(statedCount, possible);
    const std::span<const std::byte> entries = fields.part(place, count * entrySize);
    // Colours that are missing are black.
    header.palette.resize(possible);
    for (std::size_t index = 0; index < entries.size() / entrySize; ++index) {
        for (std::size_t color = 0; color < 3; ++color)
            header.palette[index][color] = std::to_integer<std::uint8_t>(entries[index * entrySize + 2 - color]);
    }
}

void readProfile(const Fields& fields, BmpHeader& header)
{
    constexpr std::uint32_t embedded = 0x4D424544; // 'MBED'
    if (fields.number(fileHeaderSize + 56, 4) == embedded)
        header.iccProfile = fields.part(fileHeaderSize + fields.number(fileHeaderSize + 112, 4),
                                        fields.number(fileHeaderSize + 116, 4));
}

std::optional<double> resolution(std::int32_t dotsPerMeter)
{
    const double dotsPerInch = dotsPerInchFrom(dotsPerMeter);
    return isUsableResolution(dotsPerInch) ? std::optional(dotsPerInch) : std::nullopt;
}

/// The pixels' offset is often wrong by mistake, but never before the end of the header.
std::span<const std::byte> pixelBytes(const Fields& fields, std::size_t headerEnd, std::size_t paletteEnd)
{
    const std::size_t stated = fields.number(10, 4);
    return fields.part(stated >= headerEnd ? stated : paletteEnd);
}

BmpHeader readCoreHeader(const Fields& fields)
{
    BmpHeader header;
    setSize(header, fields.number(18, 2), fields.number(20, 2));
    header.bitsPerPixel = static_cast<int>(fields.number(24, 2));
    checkBits(header);
    const std::size_t palettePlace = fileHeaderSize + coreHeaderSize;
    readPalette(fields, palettePlace, 3, 0, header);
    header.pixels = pixelBytes(fields, palettePlace, palettePlace + 3 * header.palette.size());
    return header;
}

BmpHeader readLaterHeader(const Fields& fields, std::size_t headerSize)
{
    BmpHeader header;
    setSize(header, fields.signedNumber(18), fields.signedNumber(22));
    header.bitsPerPixel = static_cast<int>(fields.number(28, 2));
    const std::uint32_t compression = headerSize >= 20 ? fields.number(30, 4) : 0;
    header.compression = compressionOf(compression, header.bitsPerPixel, headerSize);
    checkBits(header);
    const std::uint32_t colors = headerSize >= 36 ? fields.number(46, 4) : 0;
    if (headerSize >= 32) {
        header.dpiX = resolution(fields.signedNumber(38));
        header.dpiY = resolution(fields.signedNumber(42));
    }
    const std::size_t palettePlace = readMasks(fields, headerSize, compression, header);
    readPalette(fields, palettePlace, 4, colors, header);
    if (headerSize >= version5HeaderSize)
        readProfile(fields, header);
    header.pixels = pixelBytes(fields, fileHeaderSize + headerSize, palettePlace + 4 * header.palette.size());
    return header;
}

} // namespace

BmpMask::BmpMask(std::uint32_t bits)
    : mask(bits)
    , shift(bits == 0 ? 0 : std::countr_zero(bits))
    , largest(bits >> shift)
{
}

BmpHeader readBmpHeader(std::span<const std::byte> file)
{
    const Fields fields(file);
    if (fields.number(0, 2) != 0x4D42)
        throw DecodeError("BMP: no signature");
    const std::size_t headerSize = fields.number(14, 4);
    if (headerSize == coreHeaderSize)
        return readCoreHeader(fields);
    constexpr std::size_t smallest = 16;
    if (headerSize < smallest || headerSize > 1024 || file.size() < fileHeaderSize + headerSize)
        throw DecodeError("BMP: an unknown header");
    return readLaterHeader(fields, headerSize);
}

} // namespace Pelgra
