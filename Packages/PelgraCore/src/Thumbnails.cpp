#include "PelgraCore/Thumbnails.h"

#include "ImageThumbnails.h"
#include "PelgraCore/FileFormat.h"
#include "RenderingModule.h"

#include <algorithm>
#include <cmath>
#include <exception>

namespace Pelgra {

namespace {

std::optional<RasterImage> pageThumbnail(const std::filesystem::path& file, int pageIndex, double maxPixels)
{
    if (pageIndex < 0 || pageIndex >= mostPages)
        return std::nullopt;
    const std::unique_ptr<PageRenderer> renderer = openRenderer(file, pageIndex + 1);
    const PageSize size = renderer->displayedSize(pageIndex);
    return renderer->render(pageIndex, maxPixels / std::max(size.width, size.height));
}

} // namespace

std::optional<RasterImage> Thumbnails::image(const std::filesystem::path& file, int pageIndex, double maxPixels)
{
    if (!(maxPixels > 0) || !std::isfinite(maxPixels))
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

} // namespace Pelgra
