#pragma once

#include "files/OutputFile.h"
#include "PelgraCore/FileFormat.h"
#include "PelgraCore/JobControl.h"
#include "PelgraCore/Models.h"

#include <filesystem>
#include <functional>
#include <optional>
#include <stop_token>
#include <string>
#include <string_view>

namespace Pelgra {

/// An output that is complete on the device but has no name yet. Destroyed unpublished, nothing of it remains.
class PreparedOutput {
public:
    /// Has the content written for a file that will be beside the input and named after it. Throws
    /// EngineError::writeFailed with the name it would have had when that fails in any way other than an EngineError,
    /// and JobCancelled when a stop was requested meanwhile. `whileFlushing` runs on another thread while the device is
    /// waited for, once all is written.
    PreparedOutput(const std::filesystem::path& input, std::string_view suffix, std::string_view pathExtension,
                   const std::stop_token& stop, const std::function<void(ByteSink&)>& write,
                   const std::function<void()>& whileFlushing = {});

    /// The same for content that is written through the file's descriptor, by another process. `fill` throws
    /// StorageError where that fails, or else what is to be thrown.
    PreparedOutput(const std::filesystem::path& input, std::string_view suffix, std::string_view pathExtension,
                   const std::stop_token& stop, const std::function<void(int descriptor)>& fill);

    /// Gives it the first free name. The folder is yet to be flushed. Throws EngineError::writeFailed.
    std::filesystem::path publish();

private:
    std::filesystem::path firstFreePath() const;

    std::filesystem::path m_directory;
    std::string m_baseName;
    std::string m_pathExtension;
    std::optional<OutputFile> m_file;
};

/// Publishes one output and flushes its folder. Throws EngineError::writeFailed, and then nothing is left.
JobResult publishAlone(PreparedOutput output);

} // namespace Pelgra
