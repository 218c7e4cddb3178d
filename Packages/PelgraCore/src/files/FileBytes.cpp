#include "files/FileBytes.h"

#include "files/FileBroker.h"
#include "PelgraCore/EngineError.h"

#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Pelgra {

namespace {

/// No file this large is an image; the limit keeps a sparse file from filling the memory.
constexpr off_t fileSizeLimit = off_t{1} << 30;
/// A damaged document is searched from end to end, and a sparse one can be of any size.
constexpr std::uint64_t documentSizeLimit = std::uint64_t{2} << 30;

} // namespace

int openRegularFile(const std::filesystem::path& file)
{
    if (FileBroker* const broker = fileBroker())
        return broker->openInput(file);
    // Without O_NONBLOCK the open of a pipe would wait for its writer.
    const int descriptor = open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
    if (descriptor < 0)
        return -1;
    struct stat status{};
    if (fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode)) {
        close(descriptor);
        return -1;
    }
    return descriptor;
}

std::uint64_t fileSize(const UniqueDescriptor& file)
{
    struct stat status{};
    return fstat(file.get(), &status) == 0 ? static_cast<std::uint64_t>(status.st_size) : 0;
}

UniqueDescriptor openDocument(const std::filesystem::path& file)
{
    UniqueDescriptor descriptor(openRegularFile(file));
    if (!descriptor || fileSize(descriptor) > documentSizeLimit)
        throw EngineError::unreadable(file);
    return descriptor;
}

std::optional<FileIdentity> identityOf(const std::filesystem::path& file)
{
    const UniqueDescriptor descriptor(openRegularFile(file));
    struct stat status{};
    if (!descriptor || fstat(descriptor.get(), &status) != 0)
        return std::nullopt;
    return FileIdentity(status.st_dev, status.st_ino);
}

FilePlaces placesOf(const std::filesystem::path& file)
{
    if (FileBroker* const broker = fileBroker())
        return broker->placesOf(file);
    std::error_code ignored;
    FilePlaces places;
    places.absolute = std::filesystem::absolute(file, ignored).lexically_normal();
    places.canonical = std::filesystem::canonical(file, ignored);
    return places;
}

Bytes readFile(const std::filesystem::path& file)
{
    const UniqueDescriptor descriptor(openRegularFile(file));
    struct stat status{};
    if (!descriptor || fstat(descriptor.get(), &status) != 0 || status.st_size <= 0 || status.st_size > fileSizeLimit)
        throw EngineError::unreadable(file);

    Bytes bytes(static_cast<std::size_t>(status.st_size));
    std::size_t filled = 0;
    while (filled < bytes.size()) {
        const ssize_t count = read(descriptor.get(), bytes.data() + filled, bytes.size() - filled);
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0) // at the end, the file shrank meanwhile: what is missing must not pass for read
            throw EngineError::unreadable(file);
        filled += static_cast<std::size_t>(count);
    }
    return bytes;
}

} // namespace Pelgra
