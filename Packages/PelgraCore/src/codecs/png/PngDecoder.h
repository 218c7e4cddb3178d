#pragma once

#include "codecs/DecodedImage.h"

#include <cstddef>
#include <span>

namespace Pelgra {

/// Decodes a PNG (of an animation its default picture) to grey or RGB in 8 or 16 bits; palettes and low depths become
/// 8 bits, transparent colours become alpha. In a file cut off after its first rows the missing ones are grey, or
/// transparent where there is alpha; one without any row throws DecodeError, as does everything else that cannot be
/// read.
DecodedImage decodePng(std::span<const std::byte> file);

/// Everything decodePng() gives but the pixels: of the picture, only the profile.
DecodedImage describePng(std::span<const std::byte> file);

} // namespace Pelgra
