#include "HeifTileEncoder.h"

#include "HeifPixels.h"
#include "parallel/Heartbeat.h"
#include "parallel/OrderedPipeline.h"
#include "parallel/ReadAhead.h"
#include "pixels/RowStripe.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <utility>

namespace Pelgra {

namespace {

/// Pictures of more pixels are coded in tiles.
constexpr std::int64_t wholeLimit = std::int64_t{1} << 21;

/// The sides a tile may have, multiples of what the encoder works on at once, for no such block to be cut. Larger tiles
/// gain nothing: see docs/decisions/0016.
constexpr int unit = 64, leastSide = 12 * unit, mostSide = 20 * unit;

/// Rows of tiles of more bytes are read only when they are needed.
constexpr std::size_t largestReadAhead = std::size_t{32} << 20;

struct Tiling {
    HeifGrid grid;
    int tileWidth = 0;
    int tileHeight = 0;
};

constexpr int dividedUp(int whole, int part)
{
    return (whole - 1) / part + 1;
}

/// The side of tiles along a side of the picture: the one with which they reach the least beyond it, and of several the
/// largest. A grid has at most 256 rows and columns.
int tileSide(int side)
{
    constexpr int mostTiles = 256;
    const int least = std::max(leastSide, dividedUp(dividedUp(side, mostTiles), unit) * unit);
    int best = dividedUp(side, unit) * unit; // one tile
    if (best <= mostSide)
        return best;
    std::int64_t reached = std::numeric_limits<std::int64_t>::max();
    for (int candidate = least; candidate <= std::max(mostSide, least); candidate += unit) {
        const std::int64_t reach = std::int64_t{dividedUp(side, candidate)} * candidate;
        if (reach <= reached) {
            best = candidate;
            reached = reach;
        }
    }
    return best;
}

Tiling tilingOf(const RasterForm& form)
{
    Tiling tiling;
    tiling.tileWidth = tileSide(form.width);
    tiling.tileHeight = tileSide(form.height);
    tiling.grid = {dividedUp(form.height, tiling.tileHeight), dividedUp(form.width, tiling.tileWidth), form.width,
                   form.height};
    return tiling;
}

/// The rows of a tile: a rectangle of a stripe, whose last row and last column are repeated where it reaches beyond.
class TileRows final : public RowSource {
public:
    TileRows(const RasterForm& picture, const RowStripe& stripe, int left, int width, int height)
        : m_form(picture)
        , m_stripe(stripe)
        , m_firstByte(static_cast<std::size_t>(left) * picture.bytesPerPixel())
    {
        const int columns = std::min(width, picture.width - left);
        m_form.width = width;
        m_form.height = height;
        m_bytes = static_cast<std::size_t>(columns) * picture.bytesPerPixel();
        if (columns < width)
            m_extended.resize(m_form.rowBytes());
    }

    const RasterForm& form() const override { return m_form; }

    std::span<const std::byte> row(int y) override
    {
        const auto row = m_stripe.row(std::min(y, m_stripe.count() - 1)).subspan(m_firstByte, m_bytes);
        if (m_extended.empty())
            return row;
        std::copy(row.begin(), row.end(), m_extended.begin());
        // Each byte is the one a pixel further left.
        for (std::size_t index = m_bytes; index < m_extended.size(); ++index)
            m_extended[index] = m_extended[index - m_form.bytesPerPixel()];
        return m_extended;
    }

private:
    RasterForm m_form;
    const RowStripe& m_stripe;
    std::size_t m_firstByte;
    std::size_t m_bytes = 0; ///< of a row, in the picture
    std::vector<std::byte> m_extended; ///< a row where that is less than the tile's
};

} // namespace

bool isForTiles(const RasterForm& form)
{
    return std::int64_t{form.width} * form.height > wholeLimit;
}

void encodeHeifTiles(RowSource& rows, const HeifCoding& coding, int threads, std::vector<HeifMetadata> metadata,
                     ByteSink& sink)
{
    threads = std::min(threads, mostThreads);
    using Stripe = std::shared_ptr<const RowStripe>;
    const RasterForm form = rows.form();
    const Tiling tiling = tilingOf(form);
    const HeifGrid& grid = tiling.grid;
    int next = 0;
    const auto readStripe = [&]() -> std::optional<Stripe> {
        const int first = next * tiling.tileHeight;
        const int count = std::min(tiling.tileHeight, form.height - first);
        if (count <= 0)
            return std::nullopt;
        ++next;
        return std::make_shared<const RowStripe>(rows, first, count, nullptr);
    };
    const bool isLarge = form.rowBytes() * static_cast<std::size_t>(tiling.tileHeight) > largestReadAhead;
    ReadAhead<Stripe> stripes(threads > 1 && !rows.wholeImage() && !isLarge ? 1 : 0, readStripe);
    Stripe stripe;
    const auto begin = [&](std::size_t index) {
        const int column = static_cast<int>(index) % grid.columns;
        if (column == 0)
            stripe = stripes.next().value();
        return [&, column, stripe] {
            TileRows tile(form, *stripe, column * tiling.tileWidth, tiling.tileWidth, tiling.tileHeight);
            HeifCodedPicture coded = codedPicture(tile, coding);
            Heartbeat::beat();
            return coded;
        };
    };
    const auto count = static_cast<std::size_t>(grid.rows) * static_cast<std::size_t>(grid.columns);
    HeifGridWriter writer(grid, coding.isHalved() && form.model == ColorModel::rgb, std::move(metadata), sink);
    OrderedPipeline<HeifCodedPicture>(count, threads, static_cast<std::size_t>(threads) * 2, {})
        .runJobs(begin, [&](std::size_t, const HeifCodedPicture& tile) { writer.add(tile); });
    writer.finish();
}

} // namespace Pelgra
