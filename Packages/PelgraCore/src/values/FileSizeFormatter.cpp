#include "PelgraCore/FileSizeFormatter.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <string_view>

namespace Pelgra::FileSizeFormatter {

namespace {

constexpr std::array<std::string_view, 6> units{"KB", "MB", "GB", "TB", "PB", "EB"};

/// One decimal below ten, none above; halves away from zero.
double rounded(double value)
{
    return value < 10 ? std::round(value * 10) / 10 : std::round(value);
}

} // namespace

std::string stringForBytes(std::int64_t bytes)
{
    if (bytes == 1)
        return "1 byte";
    if (bytes <= 999)
        return std::to_string(std::max<std::int64_t>(bytes, 0)) + " bytes";

    double value = static_cast<double>(bytes) / 1000;
    std::size_t unit = 0;
    while (rounded(value) >= 1000 && unit + 1 < units.size()) {
        value /= 1000;
        ++unit;
    }
    const double shown = rounded(value);
    // Written from whole numbers: printf would use the separator of the user's locale.
    const long tenths = std::lround(shown * 10);
    std::string text = std::to_string(tenths / 10);
    if (shown < 10)
        text += "." + std::to_string(tenths % 10);
    return text.append(" ").append(units[unit]);
}

} // namespace Pelgra::FileSizeFormatter
