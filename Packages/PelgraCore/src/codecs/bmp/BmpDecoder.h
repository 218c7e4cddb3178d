#pragma once

#include "codecs/DecodedImage.h"

#include <cstddef>
#include <span>

namespace Pelgra {

/// Decodes a BMP of any of its generations to 8-bit RGB, with alpha where its pixels hold any. In a file cut off after
/// its first rows the missing ones are grey, or transparent where there is alpha. Throws DecodeError.
DecodedImage decodeBmp(std::span<const std::byte> file);

} // namespace Pelgra
