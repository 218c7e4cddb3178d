#include "files/OutputFile.h"

#include "files/FileBroker.h"
#include "files/HiddenNames.h"
#include "files/Publishing.h"
#include "parallel/Heartbeat.h"

#include <cerrno>
#include <cstdio>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Pelgra {

namespace {

constexpr std::size_t bufferSize = std::size_t{256} << 10;
/// Bytes after which the device is told to start writing, so that there is less to wait for at the end.
constexpr off_t writeBackStep = off_t{4} << 20;
constexpr mode_t fileMode = 0666; // less the user's umask

/// Where neither renaming nor linking can refuse to replace (exFAT): an empty file created under the name reserves it,
/// and is replaced by the finished one.
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
    // Without /proc there is still this call, which not everyone may use.
    if (errno == ENOENT && linkat(descriptor, "", AT_FDCWD, to.c_str(), AT_EMPTY_PATH) == 0)
        return 0;
    return errno;
}

} // namespace

OutputFile::OutputFile(const std::filesystem::path& directory, int number)
    : m_directory(directory)
    , m_number(number)
{
    m_buffer.reserve(bufferSize);
    if (FileBroker* const broker = fileBroker()) {
        m_descriptor.reset(broker->openOutput(number));
        return;
    }
    const std::filesystem::path folder = directoryOrHere(directory);
    m_descriptor.reset(open(folder.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, fileMode));
    if (!m_descriptor) {
        // Not every file system has unnamed files (EOPNOTSUPP, or EISDIR from an old kernel).
        removeLeftBehindOnce(m_directory);
        m_temporaryName = hiddenName(m_directory);
        m_descriptor.reset(open(m_temporaryName.c_str(), O_CREAT | O_EXCL | O_RDWR | O_CLOEXEC, fileMode));
    }
    if (!m_descriptor)
        throw StorageError();
    if (!m_temporaryName.empty())
        claimHidden(m_descriptor.get());
}

OutputFile::OutputFile(OutputFile&& other) noexcept
    : m_directory(std::move(other.m_directory))
    , m_temporaryName(std::exchange(other.m_temporaryName, {}))
    , m_descriptor(std::move(other.m_descriptor))
    , m_buffer(std::move(other.m_buffer))
    , m_number(other.m_number)
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
        Heartbeat::beat();
    }
    if (m_written - m_sentToDevice >= writeBackStep) {
        // A hint: flush() is what finds out whether the content arrived.
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
    m_buffer = {}; // many finished files may be waiting for their names
    if (FileBroker* const broker = fileBroker())
        return broker->finishOutput(m_number);
    if (!flushToDevice(m_descriptor.get()))
        throw StorageError();
}

void OutputFile::finish()
{
    drain();
    if (FileBroker* const broker = fileBroker())
        broker->finishOutput(m_number);
}

std::filesystem::path OutputFile::publish(std::string_view baseName, std::string_view pathExtension)
{
    if (fileBroker())
        return m_directory / OutputNaming::candidateName(baseName, pathExtension, 1); // whoever asked names it
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

} // namespace Pelgra
