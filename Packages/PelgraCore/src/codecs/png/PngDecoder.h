#pragma once

#include "codecs/DecodedImage.h"
#include "pixels/RowSource.h"

#include <cstddef>
#include <memory>
#include <span>

namespace Pelgra {

/// Decodes a PNG (of an animation its default picture) to grey or RGB in 8 or 16 bits; palettes and low depths become
/// 8 bits, transparent colours become alpha. In a file cut off after its first rows the missing ones are grey, or
/// transparent where there is alpha; one without any row throws DecodeError, as does everything else that cannot be
/// read.
DecodedImage decodePng(std::span<const std::byte> file);

/// Everything decodePng() gives but the pixels: of the picture, the colour model and the profile.
DecodedImage describePng(std::span<const std::byte> file);

/// The rows decodePng() would give, decoded as they are asked for, with a thread of its own that works ahead or
/// without. Asking for a row throws DecodeError where decodePng() does. Null, and the file stays with the caller, for
/// what has to be decoded as a whole and, unless it is wanted, what has transparency.
std::unique_ptr<RowSource> pngRows(Bytes&& file, Bytes iccProfile, bool withThread, bool withAlpha = false);

} // namespace Pelgra
