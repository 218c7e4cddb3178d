#include "PelgraCore/Engine.h"

#include "engine/InWorkers.h"
#include "engine/PageFolder.h"
#include "files/PreparedOutput.h"
#include "images/Encoding.h"
#include "pages/OpenRenderer.h"
#include "pages/PageDrawing.h"
#include "parallel/WorkerCount.h"
#include "PelgraCore/EngineError.h"
#include "PelgraCore/Isolation.h"
#include "pixels/GrayPixels.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <utility>

namespace Pelgra {

namespace {

constexpr double defaultDPI = 300;
constexpr double pointsPerInch = 72;

/// Turns the pages of one document into pictures. Any of its functions may be called from several threads.
class PageImages {
public:
    PageImages(const std::filesystem::path& file, std::unique_ptr<PageRenderer> renderer, FileFormat format,
               const ConversionOptions& options, std::stop_token stop)
        : m_file(file)
        , m_pool(file, std::move(renderer))
        , m_format(format)
        , m_dpi(options.pdfRasterDPI > 0 && std::isfinite(options.pdfRasterDPI) ? options.pdfRasterDPI : defaultDPI)
        , m_stop(std::move(stop))
    {
        m_properties.dpiWidth = m_properties.dpiHeight = m_dpi;
        m_properties.quality = format == FileFormat::heic ? options.heicQuality : options.jpegQuality;
    }

    /// Draws a page and writes its picture. Throws EngineError::unreadable, JobCancelled, and what the encoder throws.
    void write(int pageIndex, int threads, ByteSink& sink)
    {
        const PixelSize size = pixelsOf(pageIndex);
        EncodeProperties properties = m_properties;
        properties.threads = threads;
        if (size.byteCount() > largestWholeBitmap) {
            const BitmapBudget::Share share(m_budget,
                                            size.rowBytes() * static_cast<std::size_t>(PageBands::bandRows(size)));
            PageBands rows(m_pool, pageIndex, size, m_stop);
            encodeImage(m_format, rows, properties, sink);
        } else {
            BitmapBudget::Share share(m_budget, size.byteCount());
            RasterImage image = drawPage(m_pool, pageIndex, size, threads, m_stop, share.takeMemory());
            if (mayBeGray() && size.model == ColorModel::rgb)
                reduceToGrayIfColorless(image);
            ImageRows rows(image);
            encodeImage(m_format, rows, properties, sink);
            share.giveBack(std::move(image.pixels));
        }
    }

private:
    /// So that several fit into the budget, and several layers of a page into what drawing it may take.
    static constexpr std::size_t largestWholeBitmap = BitmapBudget::limit / 4;

    PixelSize pixelsOf(int pageIndex)
    {
        const RendererPool::Lease renderer(m_pool);
        std::optional<PixelSize> size = pixelSizeFor(renderer->displayedSize(pageIndex), m_dpi / pointsPerInch);
        if (!size)
            throw EngineError::unreadable(m_file);
        if (mayBeGray() && renderer->isColorless(pageIndex, m_stop))
            size->model = ColorModel::gray;
        return *size;
    }

    /// Formats whose grey files every program reads; a third of the samples, and a scan takes half the time.
    bool mayBeGray() const
    {
        return m_format == FileFormat::png || m_format == FileFormat::jpg || m_format == FileFormat::tiff;
    }

    std::filesystem::path m_file;
    RendererPool m_pool;
    BitmapBudget m_budget;
    FileFormat m_format;
    double m_dpi;
    std::stop_token m_stop;
    EncodeProperties m_properties;
};

} // namespace

JobResult Engine::pdfToImages(const std::filesystem::path& file, FileFormat format, const ConversionOptions& options,
                              const JobControl& control)
{
    if (Isolation::usesWorkers()) {
        Task task;
        task.kind = Task::Kind::pages;
        task.format = format;
        task.options = options;
        return pagesInWorker(std::move(task), file, format.pathExtension(), control);
    }
    std::unique_ptr<PageRenderer> renderer = openRenderer(file);
    const int pageCount = renderer->pageCount();
    if (pageCount < 1)
        throw EngineError::noPages();
    if (!format.imageIOType())
        throw EngineError::unsupported(format);
    warnOf(renderer->losses(), file, pageCount, control);
    PageImages pictures(file, std::move(renderer), format, options, control.stop);
    const int workers = workerCount();
    if (pageCount > 1) {
        const int threadsPerPage = std::max(1, workers / pageCount);
        return writePageFolder(file, format.pathExtension(), pageCount, workers, control,
                               [&](int page, ByteSink& sink) { pictures.write(page, threadsPerPage, sink); });
    }
    JobResult result = publishAlone(PreparedOutput(file, {}, format.pathExtension(), control.stop,
                                                   [&](ByteSink& sink) { pictures.write(0, workers, sink); }));
    if (control.progress)
        control.progress(1, 1);
    return result;
}

} // namespace Pelgra
