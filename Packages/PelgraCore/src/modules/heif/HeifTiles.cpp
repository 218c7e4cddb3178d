#include "HeifTiles.h"

#include "codecs/DecodedImage.h"
#include "HeifPixels.h"
#include "parallel/IdlePool.h"
#include "parallel/InParallel.h"
#include "parallel/WorkerCount.h"
#include "pixels/PixelTurning.h"

#include <algorithm>
#include <atomic>
#include <memory>
#include <new>
#include <utility>
#include <vector>

namespace Pelgra {

namespace {

/// No side of a coded picture may be longer; the library checks it before it decodes.
constexpr int sideLimit = 32768;

/// The EXIF orientation of a picture that is to be turned counterclockwise by so many quarters.
unsigned orientationOf(int quarterTurns)
{
    constexpr unsigned orientations[] = {1, 8, 3, 6};
    return orientations[quarterTurns];
}

HeifImageHandle handleOf(heif_context& context, heif_item_id id)
{
    heif_image_handle* handle = nullptr;
    checkHeif<DecodeError>(heif_context_get_image_handle(&context, id, &handle));
    return HeifImageHandle(handle);
}

bool haveSameForm(const RasterImage& left, const RasterImage& right)
{
    return left.model == right.model && left.hasAlpha == right.hasAlpha
        && left.bitsPerComponent == right.bitsPerComponent;
}

/// Puts the tiles of one picture together.
class TilePaster {
public:
    /// The file is one in which the tiles are pictures of their own.
    TilePaster(std::vector<std::byte> file, const HeifGrid& grid, const std::vector<std::uint32_t>& tiles,
               const heif_color_profile_nclx* codes)
        : m_file(std::move(file))
        , m_grid(grid)
        , m_tiles(tiles)
        , m_codes(codes)
        , m_contexts([this] { return std::make_unique<HeifContext>(openHeif(m_file)); })
    {
    }

    std::optional<RasterImage> run()
    {
        // The first tile tells what the picture looks like.
        const RasterImage first = tile(0);
        const bool isCovered = std::int64_t{first.width} * m_grid.columns >= m_grid.width
            && std::int64_t{first.height} * m_grid.rows >= m_grid.height;
        if (first.hasAlpha || !isCovered)
            return std::nullopt;
        std::optional<RasterImage> picture =
            RasterImage::make(m_grid.width, m_grid.height, first.model, first.hasAlpha, first.bitsPerComponent);
        if (!picture)
            throw DecodeError("the picture is too large");
        paste(first, 0, *picture);
        const auto count = static_cast<int>(m_tiles.size());
        std::atomic<bool> fits = true;
        inParallel(count - 1, std::min(workerCount(), mostThreads), {}, [&](int index) {
            if (!fits)
                return;
            const RasterImage next = tile(index + 1);
            if (next.width != first.width || next.height != first.height || !haveSameForm(next, first))
                fits = false;
            else
                paste(next, index + 1, *picture);
        });
        return fits ? std::move(picture) : std::nullopt;
    }

private:
    RasterImage tile(int index)
    {
        const IdlePool<HeifContext>::Lease context(m_contexts);
        const HeifImageHandle handle = handleOf(**context, m_tiles[static_cast<std::size_t>(index)]);
        heif_image* image = nullptr;
        checkHeif<DecodeError>(
            heif_decode_image(handle.get(), &image, heif_colorspace_undefined, heif_chroma_undefined, nullptr));
        const HeifImage owner(image);
        return pixelsOf(*image, false, 1, m_codes);
    }

    /// Each tile has a place of its own, so several may be pasted at once.
    void paste(const RasterImage& from, int index, RasterImage& to) const
    {
        const int left = index % m_grid.columns * from.width;
        const int top = index / m_grid.columns * from.height;
        const int rows = std::min(from.height, to.height - top);
        const int columns = std::min(from.width, to.width - left);
        if (columns <= 0)
            return;
        const std::size_t step = from.bytesPerPixel();
        for (int y = 0; y < rows; ++y)
            std::copy_n(from.row(y).data(), static_cast<std::size_t>(columns) * step,
                        to.row(top + y).data() + static_cast<std::size_t>(left) * step);
    }

    const std::vector<std::byte> m_file;
    const HeifGrid& m_grid;
    const std::vector<std::uint32_t>& m_tiles;
    const heif_color_profile_nclx* m_codes;
    IdlePool<HeifContext> m_contexts;
};

/// Whether the library would do nothing with an item but decode it.
bool isPlainTile(const HeifStructure& structure, std::uint32_t id)
{
    const HeifItem* const item = structure.item(id);
    return item && item->typePlace != 0 && item->parts.empty() && item->auxiliaries.empty() && item->quarterTurns == 0
        && !item->cut && !item->isOtherwiseChanged;
}

/// Whether what is left is the picture's top left corner.
bool keepsTheCorner(const HeifCut& cut, const HeifGrid& grid)
{
    return cut.width <= grid.width && cut.height <= grid.height && cut.right == cut.width - grid.width
        && cut.down == cut.height - grid.height;
}

} // namespace

HeifContext openHeif(std::span<const std::byte> file)
{
    HeifContext context(heif_context_alloc());
    if (!context)
        throw std::bad_alloc();
    heif_context_set_maximum_image_size_limit(context.get(), sideLimit);
    heif_context_set_max_decoding_threads(context.get(), std::min(workerCount(), mostThreads));
    checkHeif<DecodeError>(
        heif_context_read_from_memory_without_copy(context.get(), file.data(), file.size(), nullptr));
    return context;
}

std::optional<RasterImage> decodeHeifTiles(std::span<const std::byte> file, const HeifStructure& structure,
                                           heif_item_id id, const heif_image_handle& handle)
{
    const HeifItem* const item = structure.item(id);
    if (!item || item->type != "grid" || item->isOtherwiseChanged || heif_image_handle_has_alpha_channel(&handle) != 0)
        return std::nullopt;
    std::optional<HeifGrid> grid = heifGridIn(item->content);
    const auto isPlain = [&](std::uint32_t tile) {
        return isPlainTile(structure, tile);
    };
    if (!grid || item->parts.size() != static_cast<std::size_t>(grid->rows) * static_cast<std::size_t>(grid->columns)
        || item->parts.size() < 2 || !std::all_of(item->parts.begin(), item->parts.end(), isPlain))
        return std::nullopt;
    if (item->cut) {
        if (!keepsTheCorner(*item->cut, *grid))
            return std::nullopt;
        grid->width = item->cut->width;
        grid->height = item->cut->height;
    }
    heif_color_profile_nclx* codes = nullptr;
    if (heif_image_handle_get_nclx_color_profile(&handle, &codes).code != heif_error_Ok)
        codes = nullptr;
    const HeifColorCodes codesOwner(codes);
    std::optional<RasterImage> picture =
        TilePaster(structure.withPartsApart(file, id), *grid, item->parts, codes).run();
    return picture ? turnedUpright(*picture, orientationOf(item->quarterTurns)) : picture;
}

} // namespace Pelgra
