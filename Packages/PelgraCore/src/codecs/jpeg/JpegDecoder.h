#pragma once

#include "codecs/DecodedImage.h"

#include <cstddef>
#include <span>

namespace Pelgra {

/// Decodes a JPEG to 8-bit grey, RGB or CMYK. A file cut off anywhere behind the beginning of its first scan is
/// completed by grey. Throws DecodeError for everything else that cannot be read.
DecodedImage decodeJpeg(std::span<const std::byte> file);

/// Everything decodeJpeg() gives but the pixels: the picture has a profile only. Throws DecodeError.
DecodedImage describeJpeg(std::span<const std::byte> file);

} // namespace Pelgra
