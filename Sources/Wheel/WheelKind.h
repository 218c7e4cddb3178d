#pragma once

#include <cstdint>

namespace Pelgra {

/// The two wheels: conversions into other formats, and document tools.
enum class WheelKind : std::uint8_t { convert, tools };

} // namespace Pelgra
