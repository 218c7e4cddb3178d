#pragma once

#include <QString>

#include <cstdint>
#include <filesystem>
#include <span>

/// What the centre of the wheel says about the dragged files.
namespace Pelgra::FileInfo {

/// The sum of the sizes in bytes of the regular files (links followed); everything else counts nothing.
std::int64_t totalBytes(std::span<const std::filesystem::path> files);

/// The size of a single file, else the count: "3 files".
QString centerSummary(std::span<const std::filesystem::path> files);

} // namespace Pelgra::FileInfo
