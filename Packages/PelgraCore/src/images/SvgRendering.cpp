#include "images/SvgRendering.h"

#include "codecs/DecodedImage.h"
#include "files/FileBroker.h"
#include "files/UniqueDescriptor.h"
#include "images/RemotePictures.h"
#include "modules/ModuleLoader.h"
#include "modules/svg/SvgModule.h"

#include <cerrno>

#include <sys/mman.h>
#include <unistd.h>

namespace Pelgra {

namespace {

/// The module draws no more.
constexpr std::size_t mostPixels = 64'000'000;

/// The bytes as a file in memory, at its start; -1 where there is no memory.
int memoryFileOf(std::span<const std::byte> bytes)
{
    UniqueDescriptor descriptor(memfd_create("pelgra-drawing", MFD_CLOEXEC));
    while (descriptor && !bytes.empty()) {
        const ssize_t count = write(descriptor.get(), bytes.data(), bytes.size());
        if (count <= 0 && errno != EINTR)
            return -1;
        bytes = bytes.subspan(static_cast<std::size_t>(count > 0 ? count : 0));
    }
    if (descriptor && lseek(descriptor.get(), 0, SEEK_SET) != 0)
        return -1;
    return descriptor.release();
}

} // namespace

RasterImage renderSvg(std::span<const std::byte> file)
{
    if (fileBroker())
        return module<SvgModule>("svg").render(file);
    // A drawing of a few bytes can ask for anything, and the renderer cannot be interrupted.
    Task task;
    task.kind = Task::Kind::drawing;
    try {
        return pictureFromWorker(std::move(task), "drawing.svg", mostPixels, WorkerPool::nobody,
                                 [file](std::size_t) { return memoryFileOf(file); });
    } catch (const EngineError&) {
        throw DecodeError("SVG: it cannot be drawn");
    }
}

} // namespace Pelgra
