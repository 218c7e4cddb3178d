#pragma once

#include "codecs/DecodedImage.h"

#include <cstddef>
#include <span>

namespace Pelgra {

/// Decodes a WebP to 8-bit RGB; of an animation the first frame on its canvas. Throws DecodeError.
DecodedImage decodeWebp(std::span<const std::byte> file);

} // namespace Pelgra
