#pragma once

#include "files/UniqueDescriptor.h"
#include "PelgraCore/RasterImage.h"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <utility>

#include <sys/types.h>

namespace Pelgra {

/// Opens a regular file for reading. A folder, pipe, socket or device is refused without ever waiting for it.
/// Returns a descriptor the caller owns, or -1.
int openRegularFile(const std::filesystem::path& file);

/// What tells one regular file from another, whatever its names: device and number.
using FileIdentity = std::pair<dev_t, ino_t>;

/// None where there is no regular file that can be opened.
std::optional<FileIdentity> identityOf(const std::filesystem::path& file);

/// Where a file is, for comparing with what a link says: without "." and ".." as it was named, and by its true name.
/// Empty where it cannot be told.
struct FilePlaces {
    std::filesystem::path absolute;
    std::filesystem::path canonical;
};
FilePlaces placesOf(const std::filesystem::path& file);

/// Opens a document, which may be read piece by piece: a regular file of reasonable size. Throws
/// EngineError::unreadable(file).
UniqueDescriptor openDocument(const std::filesystem::path& file);

/// In bytes; 0 where it cannot be told.
std::uint64_t fileSize(const UniqueDescriptor& file);

/// The whole content of a regular file. Throws EngineError::unreadable(file), also for an empty one and for one that
/// becomes shorter meanwhile.
Bytes readFile(const std::filesystem::path& file);

} // namespace Pelgra
