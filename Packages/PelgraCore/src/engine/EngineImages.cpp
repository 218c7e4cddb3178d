#include "engine/EngineImages.h"

#include "codecs/DecodedImage.h"
#include "engine/InWorkers.h"
#include "images/Encoding.h"
#include "images/PictureRows.h"
#include "parallel/WorkerCount.h"
#include "PelgraCore/Engine.h"
#include "PelgraCore/EngineError.h"
#include "PelgraCore/Isolation.h"

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
    PictureRows picture = openPictureRows(file, format, threads);
    if (!format.imageIOType())
        throw EngineError::unsupported(format);

    EncodeProperties properties;
    properties.dpiWidth = picture.dpiWidth;
    properties.dpiHeight = picture.dpiHeight;
    properties.quality = format == FileFormat::heic ? options.heicQuality : options.jpegQuality;
    properties.metadata = std::move(picture.metadata);
    properties.threads = threads;
    return PreparedOutput(file, {}, format.pathExtension(), stop, [&](ByteSink& sink) {
        try {
            encodeImage(format, *picture.rows, properties, sink);
        } catch (const DecodeError&) {
            throw EngineError::unreadable(file);
        }
    });
}

JobResult Engine::imageToImage(const std::filesystem::path& file, FileFormat format, const ConversionOptions& options)
{
    return publishAlone(prepareImage(file, format, options, workerCount(), {}));
}

} // namespace Pelgra
