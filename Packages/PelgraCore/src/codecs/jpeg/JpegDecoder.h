#pragma once

#include "codecs/DecodedImage.h"

#include <cstddef>
#include <span>

namespace Pelgra {

/// Decodes a JPEG to 8-bit grey, RGB or CMYK. In a file cut off anywhere after the beginning of its first scan the
/// missing rows are grey. Throws DecodeError for everything else that cannot be read.
DecodedImage decodeJpeg(std::span<const std::byte> file);

/// Everything decodeJpeg() gives but the pixels: of the picture, only the profile. Throws DecodeError.
DecodedImage describeJpeg(std::span<const std::byte> file);

} // namespace Pelgra
