#pragma once

#include "codecs/DecodedImage.h"

#include <cstddef>
#include <span>

namespace Pelgra {

/// Decodes a BMP of any of its generations to 8-bit RGB, with alpha where its pixels hold any. A file cut off after its
/// first rows is completed by grey, where there is alpha by nothing. Throws DecodeError.
DecodedImage decodeBmp(std::span<const std::byte> file);

} // namespace Pelgra
