#include "codecs/png/PngFastPath.h"

#include "codecs/BlockWrappings.h"
#include "codecs/png/PngChunks.h"
#include "codecs/png/PngUnfilter.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <limits>
#include <memory>
#include <utility>
#include <vector>

#include <isa-l/igzip_lib.h>

namespace Pelgra {

namespace {

using ByteSpan = std::span<const std::byte>;

/// An image header that asks for nothing unusual, as a picture with pixels yet to come.
std::optional<RasterImage> imageFor(ByteSpan header)
{
    if (header.size() != 13)
        return std::nullopt;
    const std::size_t width = bigEndianNumber(header, 0, 4), height = bigEndianNumber(header, 4, 4);
    const auto bits = std::to_integer<int>(header[8]);
    const auto colorType = std::to_integer<int>(header[9]);
    const bool hasColor = (colorType & 2) != 0, hasAlpha = (colorType & 4) != 0;
    const bool isPlain = (bits == 8 || bits == 16) && (colorType & ~6) == 0
        && std::all_of(header.begin() + 10, header.end(), [](std::byte method) { return method == std::byte{0}; });
    constexpr std::size_t largest = std::numeric_limits<int>::max();
    if (!isPlain || width > largest || height > largest)
        return std::nullopt;
    return RasterImage::make(static_cast<int>(width), static_cast<int>(height),
                             hasColor ? ColorModel::rgb : ColorModel::gray, hasAlpha, bits);
}

/// A file's header and compressed pixels, where nothing about it is unusual.
struct PlainFile {
    RasterImage image;
    std::vector<ByteSpan> compressed; ///< never empty
};

std::optional<PlainFile> openPlainFile(ByteSpan file)
{
    PngChunks chunk(file);
    if (!hasPngSignature(file) || !chunk.next() || !chunk.is("IHDR") || !chunk.isIntact())
        return std::nullopt;
    const ByteSpan header = chunk.content();
    std::vector<ByteSpan> compressed;
    while (chunk.next()) {
        if (chunk.is("IDAT")) {
            if (!chunk.isIntact())
                return std::nullopt;
            compressed.push_back(chunk.content());
        } else if (!compressed.empty()) {
            break; // the pixels are one run of chunks
        } else if (chunk.is("tRNS") || chunk.isCritical()) {
            if (!chunk.is("PLTE")) // only a suggestion here
                return std::nullopt;
        }
    }
    std::optional<RasterImage> image = compressed.empty() ? std::nullopt : imageFor(header);
    if (!image)
        return std::nullopt;
    return PlainFile{std::move(*image), std::move(compressed)};
}

/// Inflates a zlib stream that is spread over several pieces.
class Inflater {
public:
    explicit Inflater(std::span<const ByteSpan> pieces)
        : m_pieces(pieces)
    {
        isal_inflate_init(m_state.get());
        m_state->crc_flag = ISAL_ZLIB;
    }

    /// Fills the target, or returns false: the stream is damaged or too short.
    bool fill(std::span<std::uint8_t> target)
    {
        m_state->next_out = target.data();
        m_state->avail_out = static_cast<std::uint32_t>(target.size());
        while (m_state->avail_out > 0) {
            if (m_state->avail_in == 0)
                feed();
            const std::uint32_t inBefore = m_state->avail_in, outBefore = m_state->avail_out;
            if (isal_inflate(m_state.get()) != ISAL_DECOMP_OK)
                return false;
            const bool moved = m_state->avail_in != inBefore || m_state->avail_out != outBefore;
            if (!moved && (m_pieces.empty() || m_state->avail_in > 0))
                return false;
        }
        return true;
    }

    /// Whether the stream ends here, as its checksum says it should.
    bool endsHere()
    {
        std::uint8_t surplus = 0;
        fill({&surplus, 1});
        return m_state->block_state == ISAL_BLOCK_FINISH && m_state->avail_out == 1;
    }

private:
    void feed()
    {
        if (m_pieces.empty())
            return;
        // The interface lacks const, but the library does not write here.
        m_state->next_in = reinterpret_cast<std::uint8_t*>(const_cast<std::byte*>(m_pieces.front().data()));
        m_state->avail_in = static_cast<std::uint32_t>(m_pieces.front().size());
        m_pieces = m_pieces.subspan(1);
    }

    std::span<const ByteSpan> m_pieces;
    std::unique_ptr<inflate_state> m_state = std::make_unique<inflate_state>();
};

/// PNG's 16-bit components have the high byte first.
void toMachineOrder(std::span<std::uint8_t> row)
{
    if constexpr (std::endian::native == std::endian::little) {
        for (std::size_t place = 0; place + 1 < row.size(); place += 2)
            std::swap(row[place], row[place + 1]);
    }
}

std::span<std::uint8_t> rowOf(RasterImage& image, int y)
{
    const std::span<std::byte> row = image.row(y);
    return {reinterpret_cast<std::uint8_t*>(row.data()), row.size()};
}

/// Inflates some rows at a time, so that they are still in the cache when their filters are undone.
bool readRows(Inflater& inflater, RasterImage& image)
{
    constexpr std::size_t batchBytes = 256 * 1024;
    const std::size_t rowBytes = image.stride + 1; // the type of filter stands in front
    const auto batchRows = static_cast<int>(std::max<std::size_t>(1, batchBytes / rowBytes));
    std::vector<std::uint8_t> filtered(rowBytes * static_cast<std::size_t>(std::min(batchRows, image.height))
                                       + unfilterSlack);
    const std::vector<std::uint8_t> blank(image.stride + unfilterSlack, 0);
    const std::uint8_t* above = blank.data();
    for (int first = 0; first < image.height; first += batchRows) {
        const int rows = std::min(batchRows, image.height - first);
        if (!inflater.fill(std::span(filtered).first(rowBytes * static_cast<std::size_t>(rows))))
            return false;
        for (int index = 0; index < rows; ++index) {
            const std::uint8_t* const stored = filtered.data() + rowBytes * static_cast<std::size_t>(index);
            const std::span<std::uint8_t> row = rowOf(image, first + index);
            if (!unfilterRow(stored[0], stored + 1, above, row, image.bytesPerPixel()))
                return false;
            // The row above is no longer needed as it was, so its bytes may be swapped now.
            if (image.bitsPerComponent == 16 && first + index > 0)
                toMachineOrder(rowOf(image, first + index - 1));
            above = row.data();
        }
    }
    if (image.bitsPerComponent == 16)
        toMachineOrder(rowOf(image, image.height - 1));
    return true;
}

} // namespace

std::optional<RasterImage> decodePlainPng(ByteSpan file)
{
    std::optional<PlainFile> plain = openPlainFile(file);
    if (!plain)
        return std::nullopt;
    Inflater inflater(plain->compressed);
    if (!readRows(inflater, plain->image) || !inflater.endsHere())
        return std::nullopt;
    return std::move(plain->image);
}

} // namespace Pelgra
