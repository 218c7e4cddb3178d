#pragma once

#include "codecs/DecodedImage.h"

#include <cstddef>
#include <span>

namespace Pelgra {

/// The table of the module "tiff", which reads only: writing needs no library.
struct TiffModule {
    /// The page with the given index, counted from 0; the first where there is none of that index. Throws DecodeError.
    DecodedImage (*decode)(std::span<const std::byte> file, int index);
};

} // namespace Pelgra
