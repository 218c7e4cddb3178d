#pragma once

#include "codecs/DecodedImage.h"

#include <cstddef>
#include <span>

namespace Pelgra {

/// Decodes a WebP to 8-bit RGB; of an animation what its canvas shows with the frame of this index, or with the first
/// where there is none of that index. Throws DecodeError.
DecodedImage decodeWebp(std::span<const std::byte> file, int index = 0);

} // namespace Pelgra
