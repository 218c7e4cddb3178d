#pragma once

#include "files/ByteSink.h"
#include "PelgraCore/EngineError.h"
#include "PelgraCore/OutputNaming.h"

#include <cerrno>
#include <filesystem>
#include <limits>
#include <stop_token>
#include <string_view>

/// What both files and folders need to get their names. Functions that return an int give 0 or an error number.
namespace Pelgra {

/// The path itself, or "." for an empty one, which system calls do not take.
std::filesystem::path directoryOrHere(const std::filesystem::path& directory);

/// Renames without replacing.
int renameWithoutReplacing(const std::filesystem::path& from, const std::filesystem::path& to);

/// Whether the error number says that the file system does not support the call.
bool isUnknownCall(int error);

/// Waits until the device has what the descriptor stands for; true where there is nothing to flush.
bool flushToDevice(int descriptor);

/// Flushes a folder's entries to the device. Throws StorageError.
void syncFolder(const std::filesystem::path& directory);

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

/// Runs what saves an output. EngineError and JobCancelled pass; whatever else ends it becomes JobCancelled where a
/// stop was requested, else EngineError::writeFailed with the path that `target` gives, the one the output would have
/// had.
template <typename Save, typename Target>
void saving(const Save& save, const std::stop_token& stop, const Target& target)
{
    try {
        save();
    } catch (const EngineError&) {
        throw;
    } catch (const JobCancelled&) {
        throw;
    } catch (const std::exception&) {
        if (stop.stop_requested())
            throw JobCancelled();
        throw EngineError::writeFailed(target());
    }
}

} // namespace Pelgra
