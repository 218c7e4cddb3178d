#pragma once

#include "codecs/DecodedImage.h"

#include <cstddef>
#include <span>

namespace Pelgra {

/// Decodes a GIF to 8-bit RGB with alpha where the screen shows through: what the screen shows with the image of this
/// index, or with the first where there is none of that index. In a file cut off after its
/// first rows the missing ones are transparent; one without any throws DecodeError.
DecodedImage decodeGif(std::span<const std::byte> file, int index = 0);

} // namespace Pelgra
