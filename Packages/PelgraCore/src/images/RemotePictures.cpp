#include "images/RemotePictures.h"

#include "isolation/PictureFile.h"
#include "PelgraCore/EngineError.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

namespace Pelgra {

namespace {

using Kind = RemoteTask::Event::Kind;

/// A file in memory whose size nobody can change any more. What is not written takes no memory.
UniqueDescriptor sealedMemory(std::size_t size)
{
    UniqueDescriptor memory(memfd_create("pelgra-picture", MFD_CLOEXEC | MFD_ALLOW_SEALING));
    if (memory
        && (ftruncate(memory.get(), static_cast<off_t>(size)) != 0
            || fcntl(memory.get(), F_ADD_SEALS, F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_SEAL) != 0))
        memory.reset();
    return memory;
}

} // namespace

RasterImage pictureFromWorker(Task task, const std::filesystem::path& input, std::size_t mostPixels, WorkerGroup group,
                              RemoteTask::OpenInput openInput)
{
    const JobControl control;
    try {
        RemoteTask remote(std::move(task), {&input, 1}, control, group, std::move(openInput));
        remote.await(Kind::outputWanted);
        const UniqueDescriptor memory = sealedMemory(pictureFileLimit(mostPixels));
        if (!memory)
            throw EngineError::unreadable(input);
        remote.grant(memory.get());
        remote.await(Kind::outputFinished);
        std::optional<RasterImage> image = readPicture(memory.get(), mostPixels);
        remote.grant();
        remote.finish();
        if (!image)
            throw EngineError::unreadable(input);
        return *std::move(image);
    } catch (const StorageError&) {
        throw EngineError::unreadable(input);
    }
}

} // namespace Pelgra
