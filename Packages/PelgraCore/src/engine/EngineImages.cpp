#include "engine/EngineImages.h"

#include "engine/InWorkers.h"
#include "images/Encoding.h"
#include "parallel/WorkerCount.h"
#include "PelgraCore/Engine.h"
#include "PelgraCore/EngineError.h"
#include "PelgraCore/Isolation.h"
#include "pixels/RowSource.h"

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
    SharedImage upright = loaded.upright(format == FileFormat::jpg);
    loaded.image.reset(); // the stored pixels are no longer needed
    if (!format.imageIOType())
        throw EngineError::unsupported(format);

    EncodeProperties properties;
    properties.dpiWidth = loaded.dpiWidth;
    properties.dpiHeight = loaded.dpiHeight;
    properties.quality = format == FileFormat::heic ? options.heicQuality : options.jpegQuality;
    properties.metadata = std::move(loaded.metadata);
    properties.threads = threads;
    return PreparedOutput(file, {}, format.pathExtension(), stop, [&](ByteSink& sink) {
        ImageRows rows(std::move(upright));
        encodeImage(format, rows, properties, sink);
    });
}

JobResult Engine::imageToImage(const std::filesystem::path& file, FileFormat format, const ConversionOptions& options)
{
    return publishAlone(prepareImage(file, format, options, workerCount(), {}));
}

} // namespace Pelgra
