#pragma once

#include "PelgraCore/RasterImage.h"

#include <cstddef>
#include <span>

namespace Pelgra {

/// The table of the module "svg".
struct SvgModule {
    /// The drawing in 8-bit sRGB with straight alpha, two pixels to one of its nominal size (512 by 512 where it has
    /// none), on a transparent ground. Nothing outside the given bytes is read. Throws DecodeError.
    RasterImage (*render)(std::span<const std::byte> file);
};

} // namespace Pelgra
