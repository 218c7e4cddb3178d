#pragma once

#include "codecs/DecodedImage.h"

#include <cstddef>
#include <span>

namespace Pelgra {

/// Decodes the first image of a GIF on its screen, to 8-bit RGB with alpha where the screen shows through. In a file
/// cut off after its first rows the missing ones are transparent; one without any throws DecodeError.
DecodedImage decodeGif(std::span<const std::byte> file);

} // namespace Pelgra
