#pragma once

#include "PelgraCore/RasterImage.h"

#include <cstddef>
#include <span>

namespace Pelgra {

/// What SvgModule::render makes of a drawing, computed by a program of its own: a few bytes of filters can ask for
/// hours and any amount of memory, and the renderer cannot be told to stop. Throws DecodeError, also when the program
/// used too much. Safe from several threads.
RasterImage renderSvg(std::span<const std::byte> file);

} // namespace Pelgra
