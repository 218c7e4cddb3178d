#include "PelgraCore/Engine.h"

#include "files/OutputFolder.h"
#include "files/PreparedOutput.h"
#include "files/Publishing.h"
#include "images/Encoding.h"
#include "pages/OpenRenderer.h"
#include "pages/PageDrawing.h"
#include "parallel/OrderedPipeline.h"
#include "parallel/WorkerCount.h"
#include "PelgraCore/EngineError.h"
#include "PelgraCore/OutputNaming.h"
#include "pixels/GrayPixels.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <optional>
#include <string>
#include <utility>

namespace Pelgra {

namespace {

constexpr double defaultDPI = 300;
constexpr double pointsPerInch = 72;
constexpr std::string_view folderSuffix = "Pages";

/// Turns the pages of one document into pictures. Any of its functions may be called from several threads.
class PagePictures {
public:
    PagePictures(const std::filesystem::path& file, std::unique_ptr<PageRenderer> renderer, FileFormat format,
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
    /// So that several fit into the budget, and several layers of a page into what the drawing of it may take.
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

/// The folder of pictures while it is being filled.
class PageFolder {
public:
    PageFolder(const std::filesystem::path& file, FileFormat format)
        : m_parent(file.parent_path())
        , m_folderName(OutputNaming::baseNameOf(file, folderSuffix))
        , m_baseName(OutputNaming::baseNameOf(file))
        , m_extension(format.pathExtension())
    {
    }

    /// Makes the folder under a hidden name. Throws EngineError::writeFailed.
    void make()
    {
        try {
            m_folder.emplace(m_parent);
        } catch (const StorageError&) {
            throw EngineError::writeFailed(expectedPath());
        }
    }

    /// Has one page written. Throws EngineError, writeFailed for whatever is no EngineError, and JobCancelled.
    void write(std::size_t index, const std::function<void(ByteSink&)>& writePage) const
    {
        const std::string name = m_baseName + ' ' + std::to_string(index + 1);
        try {
            OutputFile output(m_folder->hiddenPath());
            writePage(output);
            output.finish();
            output.publish(name, m_extension);
        } catch (const EngineError&) {
            throw;
        } catch (const JobCancelled&) {
            throw;
        } catch (const std::exception&) {
            throw EngineError::writeFailed(expectedPath() / (name + '.' + m_extension));
        }
    }

    /// Shows the folder with everything in it. Throws EngineError::writeFailed.
    std::filesystem::path publish()
    {
        try {
            return m_folder->publish(m_folderName);
        } catch (const StorageError&) {
            throw EngineError::writeFailed(expectedPath());
        }
    }

private:
    /// For the sentence of an error: the folder gets its name only when it is complete.
    std::filesystem::path expectedPath() const { return OutputNaming::uniqueURL(m_parent, m_folderName); }

    std::filesystem::path m_parent;
    std::string m_folderName;
    std::string m_baseName;
    std::string m_extension;
    std::optional<OutputFolder> m_folder;
};

JobResult writeFolder(const std::filesystem::path& file, int pageCount, PagePictures& pictures, FileFormat format,
                      const JobControl& control)
{
    struct Written { };
    PageFolder folder(file, format);
    folder.make();
    const int workers = workerCount();
    const int threadsPerPage = std::max(1, workers / pageCount);
    const auto write = [&](std::size_t index) {
        folder.write(index, [&](ByteSink& sink) { pictures.write(static_cast<int>(index), threadsPerPage, sink); });
        return Written();
    };
    const auto report = [&](std::size_t index, Written) {
        if (control.progress)
            control.progress(static_cast<int>(index) + 1, pageCount);
    };
    // A page that takes long must not keep the other workers waiting; files written ahead cost no memory.
    const auto window = static_cast<std::size_t>(workers) * 8;
    OrderedPipeline<Written>(static_cast<std::size_t>(pageCount), workers, window, control.stop).run(write, report);
    if (control.stop.stop_requested())
        throw JobCancelled();
    return JobResult(folder.publish());
}

} // namespace

JobResult Engine::pdfToImages(const std::filesystem::path& file, FileFormat format, const ConversionOptions& options,
                              const JobControl& control)
{
    std::unique_ptr<PageRenderer> renderer = openRenderer(file);
    const int pageCount = renderer->pageCount();
    if (pageCount < 1)
        throw EngineError::noPages();
    if (!format.imageIOType())
        throw EngineError::unsupported(format);
    PagePictures pictures(file, std::move(renderer), format, options, control.stop);
    if (pageCount > 1)
        return writeFolder(file, pageCount, pictures, format, control);
    JobResult result = publishAlone(PreparedOutput(file, {}, format.pathExtension(), control.stop,
                                                   [&](ByteSink& sink) { pictures.write(0, workerCount(), sink); }));
    if (control.progress)
        control.progress(1, 1);
    return result;
}

} // namespace Pelgra
