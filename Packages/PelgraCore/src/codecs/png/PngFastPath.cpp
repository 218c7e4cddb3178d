#include "codecs/png/PngFastPath.h"

#include "codecs/BlockWrappings.h"
#include "codecs/png/PngChunks.h"
#include "codecs/png/PngUnfilter.h"
#include "parallel/ReadAhead.h"

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

/// What an image header asks for, where that is nothing unusual.
std::optional<RasterForm> formIn(ByteSpan header)
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
    const RasterForm form{static_cast<int>(width),
                          static_cast<int>(height),
                          hasColor ? ColorModel::rgb : ColorModel::gray,
                          hasAlpha,
                          bits,
                          {}};
    return RasterImage::fits(width, height, form.bytesPerPixel()) ? std::optional(form) : std::nullopt;
}

/// A file's header and compressed pixels, where nothing about it is unusual.
struct PlainFile {
    RasterForm form;
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
    const std::optional<RasterForm> form = compressed.empty() ? std::nullopt : formIn(header);
    if (!form)
        return std::nullopt;
    return PlainFile{*form, std::move(compressed)};
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

/// Filtered rows as they are stored, some at a time, so that they are still in the cache when their filters are undone.
class FilteredRows {
public:
    /// The file must outlive this.
    explicit FilteredRows(const PlainFile& file)
        : m_inflater(file.compressed)
        , m_rowBytes(file.form.rowBytes() + 1) // the type of filter stands in front
        , m_rowsAtOnce(static_cast<int>(std::max<std::size_t>(1, batchBytes / m_rowBytes)))
        , m_rowsLeft(file.form.height)
    {
    }

    std::size_t rowBytes() const { return m_rowBytes; }
    /// Whether there is more than one batch to come.
    bool isLong() const { return m_rowsLeft > m_rowsAtOnce; }

    /// The next rows and some bytes more that an unfilter may touch; none where the stream is damaged or too short, and
    /// at the end.
    std::optional<PixelBuffer> next()
    {
        const int rows = std::min(m_rowsAtOnce, m_rowsLeft);
        const std::size_t size = m_rowBytes * static_cast<std::size_t>(rows);
        PixelBuffer batch;
        batch.resize(size + unfilterSlack);
        std::fill(batch.end() - unfilterSlack, batch.end(), std::byte{0});
        if (rows == 0 || !m_inflater.fill({reinterpret_cast<std::uint8_t*>(batch.data()), size}))
            return std::nullopt;
        m_rowsLeft -= rows;
        return batch;
    }

    /// Whether all rows came and nothing is behind them.
    bool endsHere() { return m_rowsLeft == 0 && m_inflater.endsHere(); }

private:
    static constexpr std::size_t batchBytes = 256 * 1024;

    Inflater m_inflater;
    std::size_t m_rowBytes;
    int m_rowsAtOnce;
    int m_rowsLeft;
};

class PlainRows final : public PlainPngRows {
public:
    PlainRows(PlainFile file, bool withThread)
        : m_file(std::move(file))
        , m_filtered(m_file)
        , m_above(m_file.form.rowBytes() + unfilterSlack, 0)
        , m_row(m_above)
        , m_swapped(m_file.form.bitsPerComponent == 16 ? m_file.form.rowBytes() : 0)
        , m_batches(withThread && m_filtered.isLong() ? batchesAhead : 0, [this] { return m_filtered.next(); })
    {
    }

    const RasterForm& form() const override { return m_file.form; }

    std::span<const std::byte> next() override
    {
        if (m_place == m_batch.size())
            takeBatch();
        if (m_batch.empty())
            return {};
        const auto* const stored = reinterpret_cast<const std::uint8_t*>(m_batch.data()) + m_place;
        std::swap(m_row, m_above);
        const std::span<std::uint8_t> row(m_row.data(), m_file.form.rowBytes());
        if (!unfilterRow(stored[0], stored + 1, m_above.data(), row, m_file.form.bytesPerPixel())) {
            m_batch.clear();
            m_place = 0;
            return {};
        }
        m_place += m_filtered.rowBytes();
        if (m_place + unfilterSlack == m_batch.size())
            m_place = m_batch.size();
        if (m_swapped.empty())
            return std::as_bytes(row);
        std::copy(row.begin(), row.end(), m_swapped.begin()); // the next row needs this one as it was stored
        toMachineOrder(m_swapped);
        return std::as_bytes(std::span(m_swapped));
    }

    bool endsWell() override
    {
        // The end of the rows is reached before the thread is no longer at work.
        return m_place == m_batch.size() && !m_batches.next() && m_filtered.endsHere();
    }

private:
    static constexpr std::size_t batchesAhead = 4;

    void takeBatch()
    {
        m_batch = m_batches.next().value_or(PixelBuffer());
        m_place = 0;
    }

    PlainFile m_file;
    FilteredRows m_filtered; ///< belongs to m_batches until that has ended
    std::vector<std::uint8_t> m_above;
    std::vector<std::uint8_t> m_row;
    std::vector<std::uint8_t> m_swapped;
    PixelBuffer m_batch;
    std::size_t m_place = 0; ///< of the next row in the batch
    ReadAhead<PixelBuffer> m_batches;
};

} // namespace

std::unique_ptr<PlainPngRows> PlainPngRows::open(ByteSpan file, bool withThread)
{
    std::optional<PlainFile> plain = openPlainFile(file);
    return plain ? std::make_unique<PlainRows>(*std::move(plain), withThread) : nullptr;
}

std::optional<RasterImage> decodePlainPng(ByteSpan file)
{
    const std::unique_ptr<PlainPngRows> rows = PlainPngRows::open(file, true);
    if (!rows)
        return std::nullopt;
    const RasterForm& form = rows->form();
    std::optional<RasterImage> image =
        RasterImage::make(form.width, form.height, form.model, form.hasAlpha, form.bitsPerComponent);
    for (int y = 0; image && y < form.height; ++y) {
        const std::span<const std::byte> row = rows->next();
        if (row.empty())
            return std::nullopt;
        std::copy(row.begin(), row.end(), image->row(y).begin());
    }
    return rows->endsWell() ? std::move(image) : std::nullopt;
}

} // namespace Pelgra
