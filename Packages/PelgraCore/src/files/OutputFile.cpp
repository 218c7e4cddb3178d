#include "files/OutputFile.h"

#include "files/HiddenNames.h"
#include "PelgraCore/OutputNaming.h"

#include <cerrno>
#include <cstdio>
#include <limits>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <linux/fs.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Pelgra {

namespace {

constexpr std::size_t bufferSize = std::size_t{256} << 10;
/// Written bytes after which the device is set to work, so that less is left to wait for at the end.
constexpr off_t writeBackStep = off_t{4} << 20;
constexpr mode_t fileMode = 0666; // less the user's umask
constexpr mode_t folderMode = 0777;

std::filesystem::path directoryOrHere(const std::filesystem::path& directory)
{
    return directory.empty() ? std::filesystem::path(".") : directory;
}

/// Runs a publishing attempt over the candidates of the numbering rule until one name is free.
template <typename Attempt>
std::filesystem::path publishUnderFreeName(const std::filesystem::path& directory, std::string_view baseName,
                                           std::string_view pathExtension, Attempt&& attempt)
{
    for (unsigned long number = 1; number < std::numeric_limits<unsigned long>::max(); ++number) {
        std::filesystem::path target = directory / OutputNaming::candidateName(baseName, pathExtension, number);
        switch (attempt(target)) {
        case 0:
            return target;
        case EEXIST:
        case ENOTEMPTY:
            continue;
        default:
            throw StorageError();
        }
    }
    throw StorageError();
}

/// Renames without replacing; 0 or an error number.
int renameWithoutReplacing(const std::filesystem::path& from, const std::filesystem::path& to)
{
    return renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0 ? 0 : errno;
}

bool isUnknownCall(int error)
{
    return error == EINVAL || error == ENOSYS || error == ENOTSUP;
}

/// Where neither renaming nor linking can refuse to replace (exFAT): an empty file made under the name reserves it, and
/// is replaced by the finished one.
int renameOntoReservedName(const std::filesystem::path& from, const std::filesystem::path& to)
{
    const UniqueDescriptor reserved(open(to.c_str(), O_CREAT | O_EXCL | O_WRONLY | O_CLOEXEC, fileMode));
    if (!reserved)
        return errno;
    if (rename(from.c_str(), to.c_str()) == 0)
        return 0;
    const int error = errno;
    unlink(to.c_str());
    return error;
}

/// Gives a file that has a temporary name its final one, with whatever the file system offers; 0 or an error number.
int renameFile(const std::filesystem::path& from, const std::filesystem::path& to)
{
    const int error = renameWithoutReplacing(from, to);
    if (!isUnknownCall(error))
        return error;
    if (link(from.c_str(), to.c_str()) == 0) {
        unlink(from.c_str());
        return 0;
    }
    return errno == EEXIST ? EEXIST : renameOntoReservedName(from, to);
}

/// Gives a file without any name its final one; 0 or an error number.
int linkUnnamedFile(int descriptor, const std::filesystem::path& to)
{
    const std::string self = "/proc/self/fd/" + std::to_string(descriptor);
    if (linkat(AT_FDCWD, self.c_str(), AT_FDCWD, to.c_str(), AT_SYMLINK_FOLLOW) == 0)
        return 0;
    // Without /proc there is this call, which not everyone may use.
    if (errno == ENOENT && linkat(descriptor, "", AT_FDCWD, to.c_str(), AT_EMPTY_PATH) == 0)
        return 0;
    return errno;
}

bool flushToDevice(int descriptor)
{
    while (fsync(descriptor) != 0) {
        if (errno == EINVAL || errno == EROFS || errno == ENOTSUP)
            return true; // the file system has nothing to flush
        if (errno != EINTR)
            return false;
    }
    return true;
}

} // namespace

OutputFile::OutputFile(const std::filesystem::path& directory)
    : m_directory(directory)
{
    const std::filesystem::path folder = directoryOrHere(directory);
    m_descriptor.reset(open(folder.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, fileMode));
    if (!m_descriptor) {
        // Not every file system knows unnamed files (EOPNOTSUPP, or EISDIR from an old kernel).
        removeLeftBehindOnce(m_directory);
        m_temporaryName = hiddenName(m_directory);
        m_descriptor.reset(open(m_temporaryName.c_str(), O_CREAT | O_EXCL | O_RDWR | O_CLOEXEC, fileMode));
    }
    if (!m_descriptor)
        throw StorageError();
    if (!m_temporaryName.empty())
        claimHidden(m_descriptor.get());
    m_buffer.reserve(bufferSize);
}

OutputFile::OutputFile(OutputFile&& other) noexcept
    : m_directory(std::move(other.m_directory))
    , m_temporaryName(std::exchange(other.m_temporaryName, {}))
    , m_descriptor(std::move(other.m_descriptor))
    , m_buffer(std::move(other.m_buffer))
    , m_written(other.m_written)
    , m_sentToDevice(other.m_sentToDevice)
{
}

OutputFile::~OutputFile()
{
    if (!m_temporaryName.empty())
        unlink(m_temporaryName.c_str());
}

void OutputFile::write(std::span<const std::byte> bytes)
{
    if (m_buffer.size() + bytes.size() > bufferSize)
        drain();
    if (bytes.size() >= bufferSize)
        writeThrough(bytes);
    else
        m_buffer.insert(m_buffer.end(), bytes.begin(), bytes.end());
}

void OutputFile::writeAt(std::size_t offset, std::span<const std::byte> bytes)
{
    drain();
    while (!bytes.empty()) {
        const ssize_t count = pwrite(m_descriptor.get(), bytes.data(), bytes.size(), static_cast<off_t>(offset));
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0)
            throw StorageError();
        offset += static_cast<std::size_t>(count);
        bytes = bytes.subspan(static_cast<std::size_t>(count));
    }
}

void OutputFile::writeThrough(std::span<const std::byte> bytes)
{
    while (!bytes.empty()) {
        const ssize_t count = ::write(m_descriptor.get(), bytes.data(), bytes.size());
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0)
            throw StorageError();
        bytes = bytes.subspan(static_cast<std::size_t>(count));
        m_written += count;
    }
    if (m_written - m_sentToDevice >= writeBackStep) {
        // A hint: whether the content arrived is what flush() finds out.
        sync_file_range(m_descriptor.get(), m_sentToDevice, m_written - m_sentToDevice, SYNC_FILE_RANGE_WRITE);
        m_sentToDevice = m_written;
    }
}

void OutputFile::drain()
{
    writeThrough(m_buffer);
    m_buffer.clear();
}

void OutputFile::flush()
{
    drain();
    m_buffer = {}; // many finished files may wait for their names
    if (!flushToDevice(m_descriptor.get()))
        throw StorageError();
}

std::filesystem::path OutputFile::publish(std::string_view baseName, std::string_view pathExtension)
{
    return publishUnderFreeName(m_directory, baseName, pathExtension,
                                [this](const std::filesystem::path& target) { return tryPublish(target); });
}

int OutputFile::tryPublish(const std::filesystem::path& target)
{
    const int error =
        m_temporaryName.empty() ? linkUnnamedFile(m_descriptor.get(), target) : renameFile(m_temporaryName, target);
    if (error != 0)
        return error;
    m_temporaryName.clear();
    // The content is safe on the device, yet a file system may still report a late failure here.
    if (close(m_descriptor.release()) != 0 && errno != EINTR) {
        unlink(target.c_str());
        throw StorageError();
    }
    return 0;
}

OutputFolder::OutputFolder(const std::filesystem::path& parent)
    : m_parent(parent)
    , m_hidden(hiddenName(parent))
{
    removeLeftBehind(parent);
    if (mkdir(m_hidden.c_str(), folderMode) != 0)
        throw StorageError();
    m_folder.reset(open(m_hidden.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (m_folder)
        claimHidden(m_folder.get());
}

OutputFolder::~OutputFolder()
{
    if (!m_hidden.empty()) {
        std::error_code ignored;
        std::filesystem::remove_all(m_hidden, ignored);
    }
}

std::filesystem::path OutputFolder::publish(std::string_view baseName)
{
    // One flush of the file system serves all files at once; flushing each costs a wait for the device per file.
    if (!m_folder || (syncfs(m_folder.get()) != 0 && errno != ENOSYS))
        throw StorageError();
    std::filesystem::path target =
        publishUnderFreeName(m_parent, baseName, {}, [this](const std::filesystem::path& candidate) {
            const int error = renameWithoutReplacing(m_hidden, candidate);
            if (!isUnknownCall(error))
                return error;
            // An empty folder made under the name reserves it, and a folder may be renamed onto an empty one.
            if (mkdir(candidate.c_str(), folderMode) != 0)
                return errno;
            if (rename(m_hidden.c_str(), candidate.c_str()) == 0)
                return 0;
            const int failure = errno;
            rmdir(candidate.c_str());
            return failure;
        });
    m_hidden.clear();
    syncFolder(m_parent);
    return target;
}

void syncFolder(const std::filesystem::path& directory)
{
    const UniqueDescriptor folder(open(directoryOrHere(directory).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    // A folder that may be written but not read cannot be flushed; its files are complete all the same.
    if (!folder)
        return;
    if (!flushToDevice(folder.get()))
        throw StorageError();
}

} // namespace Pelgra
