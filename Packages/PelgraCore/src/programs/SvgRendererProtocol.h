#pragma once

#include <cstdint>

namespace Pelgra {

/// What pelgra-svg-renderer leaves at the start of its standard output, a file, once all pixels follow it: 8-bit RGB
/// with straight alpha in tight rows. Its standard input is the drawing.
struct SvgRendererResult {
    std::uint32_t signature = 0;
    std::int32_t width = 0;
    std::int32_t height = 0;
};

inline constexpr std::uint32_t svgRendererSignature = 0x70535647;

} // namespace Pelgra
