#include "pages/PageDrawing.h"

#include "pages/OpenRenderer.h"
#include "parallel/InParallel.h"
#include "parallel/WorkerCount.h"
#include "PelgraCore/EngineError.h"
#include "PelgraCore/JobControl.h"

#include <algorithm>
#include <numeric>
#include <utility>

namespace Pelgra {

namespace {

/// A page smaller than this is drawn before a second thread has opened the document.
constexpr std::int64_t pixelsWorthAThread = std::int64_t{4} << 20;
constexpr std::size_t bandBytes = std::size_t{64} << 20;
/// The pictures of a page are scaled anew for each band: in bands of 64 rows a scan took 35 times as long as in one
/// piece.
constexpr int leastBandRows = 1024;

void drawOrThrow(RendererPool& pool, const RendererPool::Lease& renderer, int pageIndex, PixelSize size, int top,
                 std::span<std::byte> pixels, const std::stop_token& stop)
{
    if (renderer->drawRows(pageIndex, size, top, pixels, stop))
        return;
    if (stop.stop_requested())
        throw JobCancelled();
    throw EngineError::unreadable(pool.file());
}

} // namespace

RendererPool::RendererPool(std::filesystem::path file, std::unique_ptr<PageRenderer> first)
    : IdlePool([file] { return openRenderer(file); }, std::move(first))
    , m_file(std::move(file))
{
}

BitmapBudget::Share::Share(BitmapBudget& budget, std::size_t bytes)
    : m_budget(budget)
    , m_bytes(std::min(bytes, limit))
{
    std::unique_lock lock(budget.m_mutex);
    budget.m_freed.wait(lock, [&] { return budget.m_used + m_bytes <= limit; });
    budget.m_used += m_bytes;
    const auto isEnough = [bytes](const PixelBuffer& memory) {
        return memory.capacity() >= bytes;
    };
    const auto found = std::ranges::find_if(budget.m_idle, isEnough);
    if (found != budget.m_idle.end()) {
        m_memory = std::move(*found);
        budget.m_idle.erase(found);
    }
    budget.dropUntilFits();
}

BitmapBudget::Share::~Share()
{
    const std::lock_guard lock(m_budget.m_mutex);
    m_budget.m_used -= m_bytes;
    if (m_memory.capacity() > 0)
        m_budget.m_idle.push_back(std::move(m_memory));
    m_budget.dropUntilFits();
    m_budget.m_freed.notify_all();
}

/// The caller holds the mutex.
void BitmapBudget::dropUntilFits()
{
    const auto add = [](std::size_t sum, const PixelBuffer& memory) {
        return sum + memory.capacity();
    };
    const auto held = [&] {
        return std::accumulate(m_idle.begin(), m_idle.end(), m_used, add);
    };
    while (!m_idle.empty() && (m_idle.size() > static_cast<std::size_t>(workerCount()) || held() > limit))
        m_idle.erase(m_idle.begin());
}

PageBands::PageBands(RendererPool& pool, int pageIndex, PixelSize size, std::stop_token stop)
    : m_pool(pool)
    , m_renderer(pool)
    , m_pageIndex(pageIndex)
    , m_size(size)
    , m_stop(std::move(stop))
    , m_form{size.width, size.height, size.model, false, 8, {}}
{
}

int PageBands::bandRows(PixelSize size)
{
    return std::min(size.height, std::max(leastBandRows, static_cast<int>(bandBytes / size.rowBytes())));
}

std::span<const std::byte> PageBands::row(int y)
{
    if (y >= m_bandTop + m_rowsInBand) {
        m_bandTop = y;
        m_rowsInBand = std::min(bandRows(m_size), m_size.height - y);
        m_band.resize(m_size.rowBytes() * static_cast<std::size_t>(m_rowsInBand));
        drawOrThrow(m_pool, m_renderer, m_pageIndex, m_size, y, m_band, m_stop);
    }
    return std::span(m_band).subspan(m_size.rowBytes() * static_cast<std::size_t>(y - m_bandTop), m_size.rowBytes());
}

RasterImage drawPage(RendererPool& pool, int pageIndex, PixelSize size, int threads, const std::stop_token& stop,
                     PixelBuffer memory)
{
    std::optional<RasterImage> image =
        RasterImage::make(size.width, size.height, size.model, false, 8, std::move(memory));
    if (!image)
        throw EngineError::unreadable(pool.file());
    const bool isSmall = std::int64_t{size.width} * size.height < pixelsWorthAThread;
    const int parts = isSmall ? 1 : std::clamp(threads, 1, size.height);
    const auto drawPart = [&](int part) {
        const auto edge = [&](int number) {
            return static_cast<int>(std::int64_t{size.height} * number / parts);
        };
        const int top = edge(part);
        const auto rows = static_cast<std::size_t>(edge(part + 1) - top);
        const RendererPool::Lease renderer(pool);
        drawOrThrow(
            pool, renderer, pageIndex, size, top,
            std::span(image->pixels).subspan(static_cast<std::size_t>(top) * image->stride, rows * image->stride),
            stop);
    };
    inParallel(parts, parts, stop, drawPart);
    return *std::move(image);
}

} // namespace Pelgra
