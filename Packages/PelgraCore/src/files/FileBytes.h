#pragma once

#include "PelgraCore/RasterImage.h"

#include <cstdint>
#include <filesystem>

namespace Pelgra {

/// Opens a regular file for reading. A folder, pipe, socket or device is refused without ever waiting for it.
/// Returns a descriptor the caller owns, or -1.
int openRegularFile(const std::filesystem::path& file);

/// The whole content of a regular file. Throws EngineError::unreadable(file), also for an empty one.
Bytes readFile(const std::filesystem::path& file);

} // namespace Pelgra
