#include "engine/EngineImages.h"

#include "engine/InWorkers.h"
#include "images/Encoding.h"
#include "images/UprightRows.h"
#include "parallel/WorkerCount.h"
#include "PelgraCore/Engine.h"
#include "PelgraCore/EngineError.h"
#include "PelgraCore/Isolation.h"
#include "pixels/RowSource.h"

#include <memory>
#include <utility>

namespace Pelgra {

PreparedOutput prepareImage(const std::filesystem::path& file, FileFormat format, const ConversionOptions& options,
                            int threads, const std::stop_token& stop, WorkerGroup group)
{
    if (Isolation::usesWorkers()) {
        JobControl control;
        control.stop = stop;
        Task task;
        task.kind = Task::Kind::image;
        task.format = format;
        task.options = options;
        task.threads = threads;
        return prepareInWorker(std::move(task), {&file, 1}, {}, format.pathExtension(), control, group);
    }
    LoadedImage loaded = ImageLoader::load(file);
    EncodeProperties properties;
    properties.metadata = std::move(loaded.metadata);
    properties.dpiWidth = loaded.dpiWidth;
    properties.dpiHeight = loaded.dpiHeight;
    properties.quality = format == FileFormat::heic ? options.heicQuality : options.jpegQuality;
    properties.threads = threads;
    const std::unique_ptr<RowSource> rows = uprightRows(std::move(loaded), format == FileFormat::jpg);
    if (!format.imageIOType())
        throw EngineError::unsupported(format);

    return PreparedOutput(file, {}, format.pathExtension(), stop,
                          [&](ByteSink& sink) { encodeImage(format, *rows, properties, sink); });
}

JobResult Engine::imageToImage(const std::filesystem::path& file, FileFormat format, const ConversionOptions& options)
{
    return publishAlone(prepareImage(file, format, options, workerCount(), {}));
}

} // namespace Pelgra
