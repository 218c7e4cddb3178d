#pragma once

#include "Decoders.h"

#include <cstddef>
#include <span>

namespace Pelgra {

/// Decodes a JPEG to 8-bit grey, RGB or CMYK. A file cut off after its first rows is completed by the decoder's grey;
/// one without any row throws DecodeError, as does everything else that cannot be read.
DecodedImage decodeJpeg(std::span<const std::byte> file);

/// Everything decodeJpeg() gives but the pixels: the picture has a profile only. Throws DecodeError.
DecodedImage describeJpeg(std::span<const std::byte> file);

} // namespace Pelgra
