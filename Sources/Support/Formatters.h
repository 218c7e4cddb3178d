#pragma once

#include <QString>

#include <cstdint>
#include <filesystem>
#include <span>

/// Short texts about a set of dragged files.
namespace Pelgra::FileInfo {

/// The bytes of all regular files among them, links followed; anything else, and whatever cannot be looked at, counts
/// as nothing. A sum too large for 64 bits stays at the largest number.
std::int64_t totalBytes(std::span<const std::filesystem::path> files);

/// The size of a single file, else "3 files".
QString centerSummary(std::span<const std::filesystem::path> files);

} // namespace Pelgra::FileInfo
