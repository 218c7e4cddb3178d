#pragma once

#include "files/UniqueDescriptor.h"

#include <filesystem>
#include <string_view>

namespace Pelgra {

/// A folder of outputs, built under a hidden name beside its final place and removed again unless published; where the
/// process is killed before, by the next job of this kind in the parent that runs ten minutes later or more.
class OutputFolder {
public:
    /// Makes the hidden folder in the given parent. Throws StorageError.
    explicit OutputFolder(const std::filesystem::path& parent);
    OutputFolder(const OutputFolder&) = delete;
    OutputFolder& operator=(const OutputFolder&) = delete;
    ~OutputFolder();

    /// Where the folder's files are written until it is published.
    const std::filesystem::path& hiddenPath() const { return m_hidden; }

    /// Flushes every file and the folder to the device together and gives the folder the first free name of the
    /// numbering rule. Throws StorageError.
    std::filesystem::path publish(std::string_view baseName);

private:
    std::filesystem::path m_parent;
    std::filesystem::path m_hidden;
    UniqueDescriptor m_folder; ///< claims the hidden folder; see HiddenNames.h
};

} // namespace Pelgra
