#pragma once

#include "files/ByteSink.h"
#include "files/OutputFile.h"
#include "files/UniqueDescriptor.h"

#include <filesystem>
#include <functional>
#include <stop_token>
#include <string>
#include <string_view>

namespace Pelgra {

/// A folder of outputs beside an input, built under a hidden name and removed again unless it is published; if the
/// process is killed first, by the next job of this kind in the parent that runs at least ten minutes later.
class OutputFolder {
public:
    /// Begins a folder that will be named after the input, with the suffix. Throws EngineError::writeFailed with the
    /// name it would have had.
    OutputFolder(const std::filesystem::path& input, std::string_view suffix);
    OutputFolder(const OutputFolder&) = delete;
    OutputFolder& operator=(const OutputFolder&) = delete;
    ~OutputFolder();

    /// Has the content written for one of its files, which are numbered from 1. May be called from several threads.
    /// Throws EngineError::writeFailed with the file's name when that fails in any way other than an EngineError, and
    /// JobCancelled when a stop was requested meanwhile.
    void writeFile(int number, std::string_view pathExtension, const std::stop_token& stop,
                   const std::function<void(ByteSink&)>& write) const;

    /// The same in steps, for content that is written elsewhere: begins a file, and gives it its name in the folder.
    /// Both throw StorageError.
    OutputFile beginFile(int number) const;
    void finishFile(OutputFile& file, int number, std::string_view pathExtension) const;

    /// The path that file would have had, for an error.
    std::filesystem::path futurePathOf(int number, std::string_view pathExtension) const;

    /// Flushes every file and the folder to the device together and gives the folder the first free name of the
    /// numbering rule. Throws EngineError::writeFailed, and then nothing is left.
    std::filesystem::path publish();

private:
    std::filesystem::path firstFreePath() const;
    void takeName();

    std::filesystem::path m_parent;
    std::string m_name;
    std::string m_baseOfFiles; ///< what their names have in common, before the number
    std::filesystem::path m_path; ///< where it is now; empty once it is published
    UniqueDescriptor m_folder; ///< claims the hidden folder; see HiddenNames.h
};

} // namespace Pelgra
