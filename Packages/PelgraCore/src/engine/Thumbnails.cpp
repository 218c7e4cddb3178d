#include "PelgraCore/Thumbnails.h"

#include "images/ImageThumbnails.h"
#include "images/RemotePictures.h"
#include "isolation/WorkerPool.h"
#include "pages/OpenRenderer.h"
#include "pages/PageDrawing.h"
#include "PelgraCore/FileFormat.h"
#include "PelgraCore/Isolation.h"
#include "pixels/ImageScaling.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <exception>
#include <utility>

namespace Pelgra {

namespace {

/// What an open document has read stays in memory: after this many pages it is closed and opened anew.
constexpr int pagesUntilClosed = 64;

bool isSensible(double maxPixels)
{
    return maxPixels > 0 && std::isfinite(maxPixels);
}

std::optional<RasterImage> pageThumbnail(PageRenderer& renderer, int pageIndex, double maxPixels)
{
    const PageSize size = renderer.displayedSize(pageIndex);
    return renderer.render(pageIndex, maxPixels / std::max(size.width, size.height));
}

std::optional<RasterImage> pageThumbnail(const std::filesystem::path& file, int pageIndex, double maxPixels)
{
    if (pageIndex < 0 || pageIndex >= mostPages)
        return std::nullopt;
    return pageThumbnail(*openRenderer(file, pageIndex + 1), pageIndex, maxPixels);
}

/// The task says which picture.
RasterImage pictureInWorker(Task task, const std::filesystem::path& file, WorkerGroup group)
{
    // A page may be as long as a drawn page can be, and a pixel more comes from rounding.
    const double side = std::min(std::ceil(task.maxPixels) + 1, static_cast<double>(PDFRender::maxSide));
    return pictureFromWorker(std::move(task), file, static_cast<std::size_t>(side * side), group);
}

Task thumbnailTask(int pageIndex, double maxPixels, bool staysOpen)
{
    Task task;
    task.kind = Task::Kind::thumbnail;
    task.page = pageIndex;
    task.maxPixels = maxPixels;
    task.staysOpen = staysOpen;
    return task;
}

int pageCountInWorker(const std::filesystem::path& file)
{
    Task task;
    task.kind = Task::Kind::pageCount;
    const JobControl control;
    RemoteTask remote(std::move(task), {&file, 1}, control, WorkerPool::pictures);
    const RemoteTask::Event event = remote.next();
    if (event.kind != RemoteTask::Event::Kind::pageCount)
        return 0;
    remote.finish();
    return std::min(event.number, mostPages);
}

} // namespace

struct Thumbnails::Pages::State {
    explicit State(std::filesystem::path file)
        : renderers(std::move(file))
    {
    }
    RendererPool renderers;
    std::atomic<int> pagesDrawn = 0;
    WorkerGroupScope workers; ///< each keeps the document open
};

Thumbnails::Pages::Pages(std::filesystem::path file)
    : m_state(std::make_unique<State>(std::move(file)))
{
}

Thumbnails::Pages::~Pages() = default;

std::optional<RasterImage> Thumbnails::Pages::image(int pageIndex, double maxPixels)
{
    if (!isSensible(maxPixels) || pageIndex < 0)
        return std::nullopt;
    try {
        if (Isolation::usesWorkers())
            return pictureInWorker(thumbnailTask(pageIndex, maxPixels, true), m_state->renderers.file(),
                                   m_state->workers.group());
        if (++m_state->pagesDrawn % pagesUntilClosed == 0)
            m_state->renderers.closeIdle();
        const RendererPool::Lease renderer(m_state->renderers);
        return pageThumbnail(*renderer, pageIndex, maxPixels);
    } catch (const std::exception&) {
        return std::nullopt;
    }
}

std::optional<RasterImage> Thumbnails::image(const std::filesystem::path& file, int pageIndex, double maxPixels)
{
    if (!isSensible(maxPixels))
        return std::nullopt;
    try {
        if (Isolation::usesWorkers())
            return pictureInWorker(thumbnailTask(pageIndex, maxPixels, false), file, WorkerPool::pictures);
        return FileFormat::detect(file) == FileFormat(FileFormat::pdf) ? pageThumbnail(file, pageIndex, maxPixels)
                                                                       : imageThumbnail(file, pageIndex, maxPixels);
    } catch (const std::exception&) {
        return std::nullopt;
    }
}

std::optional<RasterImage> Thumbnails::shared(const std::filesystem::path& thumbnail, const SharedClaims& claims,
                                              double maxPixels)
{
    if (!isSensible(maxPixels))
        return std::nullopt;
    try {
        if (!Isolation::usesWorkers())
            return sharedThumbnail(thumbnail, claims, maxPixels);
        Task task;
        task.kind = Task::Kind::sharedThumbnail;
        task.maxPixels = maxPixels;
        task.claims = claims;
        return pictureInWorker(std::move(task), thumbnail, WorkerPool::pictures);
    } catch (const std::exception&) {
        return std::nullopt;
    }
}

int Thumbnails::pdfPageCount(const std::filesystem::path& file)
{
    try {
        if (Isolation::usesWorkers())
            return pageCountInWorker(file);
        return openRenderer(file)->pageCount();
    } catch (const std::exception&) {
        return 0;
    }
}

SharedImage Thumbnails::scaled(const SharedImage& image, double maxPixels)
{
    return fittedInto(image, maxPixels);
}

} // namespace Pelgra
