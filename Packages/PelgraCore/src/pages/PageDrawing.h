#pragma once

#include "modules/rendering/RenderingModule.h"
#include "parallel/IdlePool.h"
#include "pixels/RowSource.h"

#include <condition_variable>
#include <cstddef>
#include <filesystem>
#include <memory>
#include <mutex>
#include <stop_token>
#include <utility>
#include <vector>

namespace Pelgra {

/// The same document, opened once for each thread that draws from it at the same time. Leases throw
/// EngineError::unreadable where the file cannot be opened again.
class RendererPool : public IdlePool<PageRenderer> {
public:
    /// May begin with one that is open already.
    explicit RendererPool(std::filesystem::path file, std::unique_ptr<PageRenderer> first = nullptr);

    const std::filesystem::path& file() const { return m_file; }

private:
    std::filesystem::path m_file;
};

/// Bounds the bytes of the bitmaps that all threads hold together, and lends the memory of one page to the next: the
/// system gives new memory page by page, cleared, which takes a fifth of the time that drawing a page of text takes.
class BitmapBudget {
public:
    static constexpr std::size_t limit = std::size_t{256} << 20;

    /// A part of the budget. The constructor waits for it; one larger than the limit is given to it alone.
    class Share {
    public:
        Share(BitmapBudget& budget, std::size_t bytes);
        Share(const Share&) = delete;
        Share& operator=(const Share&) = delete;
        ~Share();

        /// Memory for the bitmap, where some was used before; else empty. Its content means nothing.
        PixelBuffer takeMemory() { return std::exchange(m_memory, {}); }
        /// Keeps memory for a later share.
        void giveBack(PixelBuffer memory) { m_memory = std::move(memory); }

    private:
        BitmapBudget& m_budget;
        std::size_t m_bytes;
        PixelBuffer m_memory;
    };

private:
    void dropUntilFits();

    std::mutex m_mutex;
    std::condition_variable m_freed;
    std::size_t m_used = 0;
    std::vector<PixelBuffer> m_idle; ///< memory that belongs to no share, while the budget still has room for it
};

/// A page drawn in bands while it is encoded, for one too large to be held whole. row() throws
/// EngineError::unreadable where the page cannot be drawn and JobCancelled after a requested stop.
class PageBands final : public RowSource {
public:
    PageBands(RendererPool& pool, int pageIndex, PixelSize size, std::stop_token stop);

    const RasterForm& form() const override { return m_form; }
    std::span<const std::byte> row(int y) override;

    /// The rows drawn at once. Each band costs a walk through the whole page, so bands are rather tall.
    static int bandRows(PixelSize size);

private:
    RendererPool& m_pool;
    RendererPool::Lease m_renderer;
    int m_pageIndex;
    PixelSize m_size;
    std::stop_token m_stop;
    RasterForm m_form;
    PixelBuffer m_band;
    int m_bandTop = 0;
    int m_rowsInBand = 0;
};

/// The page as a whole, drawn by several threads where that helps, into the memory given if it is large enough. Throws
/// as PageBands::row.
RasterImage drawPage(RendererPool& pool, int pageIndex, PixelSize size, int threads, const std::stop_token& stop,
                     PixelBuffer memory = {});

} // namespace Pelgra
