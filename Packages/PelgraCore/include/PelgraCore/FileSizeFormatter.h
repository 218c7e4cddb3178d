#pragma once

#include <cstdint>
#include <string>

namespace Pelgra::FileSizeFormatter {

/// A short text in decimal units ("1.1 KB", "12 MB"), with a point as separator whatever the locale.
std::string stringForBytes(std::int64_t bytes);

} // namespace Pelgra::FileSizeFormatter
