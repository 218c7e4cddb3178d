#include "PelgraCore/Thumbnails.h"

#include "images/ImageThumbnails.h"
#include "pages/OpenRenderer.h"
#include "pages/PageDrawing.h"
#include "PelgraCore/FileFormat.h"
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

} // namespace

struct Thumbnails::Pages::State {
    RendererPool renderers;
    std::atomic<int> pagesDrawn = 0;
};

Thumbnails::Pages::Pages(std::filesystem::path file)
    : m_state(new State{RendererPool(std::move(file))})
{
}

Thumbnails::Pages::~Pages() = default;

std::optional<RasterImage> Thumbnails::Pages::image(int pageIndex, double maxPixels)
{
    if (!isSensible(maxPixels) || pageIndex < 0)
        return std::nullopt;
    try {
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
        return FileFormat::detect(file) == FileFormat(FileFormat::pdf) ? pageThumbnail(file, pageIndex, maxPixels)
                                                                       : imageThumbnail(file, pageIndex, maxPixels);
    } catch (const std::exception&) {
        return std::nullopt;
    }
}

int Thumbnails::pdfPageCount(const std::filesystem::path& file)
{
    try {
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
