#include "engine/EngineImages.h"
#include "engine/InWorkers.h"
#include "files/FileBytes.h"
#include "imagepdf/ImagePDFWriter.h"
#include "imagepdf/PDFImage.h"
#include "parallel/OrderedPipeline.h"
#include "parallel/WorkerCount.h"
#include "PelgraCore/Engine.h"
#include "PelgraCore/EngineError.h"
#include "PelgraCore/Isolation.h"

#include <map>
#include <optional>
#include <utility>
#include <vector>

namespace Pelgra {

namespace {

/// The images of a document, each file once however often it is listed.
struct DistinctImages {
    std::vector<std::filesystem::path> files; ///< in the order of their first appearance
    std::vector<std::size_t> pages; ///< for each page its index in `files`
};

DistinctImages distinctImages(std::span<const std::filesystem::path> images)
{
    DistinctImages result;
    std::map<FileIdentity, std::size_t> known;
    for (const auto& image : images) {
        std::size_t index = result.files.size();
        if (const std::optional<FileIdentity> identity = identityOf(image))
            index = known.emplace(*identity, index).first->second;
        if (index == result.files.size())
            result.files.push_back(image);
        result.pages.push_back(index);
    }
    return result;
}

/// Images are read on several threads and written in order, so that few are in memory at a time.
void writeImagePDF(std::span<const std::filesystem::path> images, ByteSink& sink, int threads,
                   const JobControl& control)
{
    const DistinctImages distinct = distinctImages(images);
    const int total = static_cast<int>(distinct.files.size());
    const int threadsForEach = total > 1 ? 1 : threads;
    ImagePDFWriter writer(sink);
    OrderedPipeline<PDFImage> pipeline(distinct.files.size(), threads, static_cast<std::size_t>(threads) + 1,
                                       control.stop);
    pipeline.run([&](std::size_t index) { return loadPDFImage(distinct.files[index], threadsForEach); },
                 [&](std::size_t index, PDFImage image) {
                     writer.addImage(image);
                     if (control.progress)
                         control.progress(static_cast<int>(index) + 1, total);
                 });
    for (std::size_t image : distinct.pages)
        writer.addPage(image);
    writer.finish();
}

} // namespace

PreparedOutput prepareImagePDF(std::span<const std::filesystem::path> images, int threads, const JobControl& control,
                               WorkerGroup group)
{
    const std::string_view pathExtension = FileFormat(FileFormat::pdf).pathExtension();
    if (Isolation::usesWorkers()) {
        Task task;
        task.kind = Task::Kind::imagePDF;
        task.threads = threads;
        return prepareInWorker(std::move(task), images, {}, pathExtension, control, group);
    }
    return PreparedOutput(images.front(), {}, pathExtension, control.stop,
                          [&](ByteSink& sink) { writeImagePDF(images, sink, threads, control); });
}

JobResult Engine::imageToPDF(const std::filesystem::path& file)
{
    return publishAlone(prepareImagePDF({&file, 1}, workerCount(), {}));
}

JobResult Engine::createPDF(std::span<const std::filesystem::path> images, const JobControl& control)
{
    if (images.empty())
        throw EngineError::noInputs();
    for (const auto& image : images) {
        const auto format = FileFormat::detect(image);
        if (!format || !format->isImage())
            throw EngineError::unsupportedConversion(format, FileFormat::pdf);
    }
    return publishAlone(prepareImagePDF(images, workerCount(), control));
}

} // namespace Pelgra
