#pragma once

#include "codecs/DecodedImage.h"

#include <cstddef>
#include <span>

namespace Pelgra {

/// Decodes the first image of a GIF on its screen, to 8-bit RGB with alpha where the screen shows through. A file cut
/// off after the first rows is completed by nothing; one without any throws DecodeError.
DecodedImage decodeGif(std::span<const std::byte> file);

} // namespace Pelgra
