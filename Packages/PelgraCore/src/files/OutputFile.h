#pragma once

#include "files/ByteSink.h"
#include "files/UniqueDescriptor.h"

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include <sys/types.h>

/// The one way outputs reach the disk: complete, flushed, and never in the place of anything else.
namespace Pelgra {

/// A file without a name that users could see until it is published. Dropped unpublished, nothing of it remains, even
/// when the process is killed (where the file system has unnamed files; elsewhere a hidden temporary name stays until
/// the next such job in the folder).
class OutputFile final : public ByteSink {
public:
    /// Begins a file for the given folder. Where a FileBroker stands for the file system, the number says which output
    /// of the task it is. Throws StorageError.
    explicit OutputFile(const std::filesystem::path& directory, int number = 0);
    OutputFile(OutputFile&& other) noexcept;
    OutputFile& operator=(OutputFile&&) = delete;
    ~OutputFile() override;

    void write(std::span<const std::byte> bytes) override;
    void writeAt(std::size_t offset, std::span<const std::byte> bytes) override;

    /// For whoever else is to write the content, in place of write().
    int descriptor() const { return m_descriptor.get(); }

    /// Passes buffered bytes on and flushes the content to the device. Further writes are a mistake. Throws
    /// StorageError.
    void flush();

    /// Passes buffered bytes on without waiting for the device: for the files of an OutputFolder, which flushes all of
    /// them together. Throws StorageError.
    void finish();

    /// Gives the flushed (or, inside an OutputFolder, finished) file the first free name of the numbering rule in its
    /// folder, refusing to replace anything. Throws StorageError. The folder itself is flushed by syncFolder().
    std::filesystem::path publish(std::string_view baseName, std::string_view pathExtension);

private:
    void writeThrough(std::span<const std::byte> bytes);
    void drain();
    /// 0, or the error number; EEXIST when the name is taken.
    int tryPublish(const std::filesystem::path& target);

    std::filesystem::path m_directory;
    std::filesystem::path m_temporaryName; ///< empty while the file has no name at all
    UniqueDescriptor m_descriptor;
    std::vector<std::byte> m_buffer;
    int m_number = 0; ///< for the broker
    off_t m_written = 0;
    off_t m_sentToDevice = 0; ///< the part of what was written that the device has been told to write
};

} // namespace Pelgra
