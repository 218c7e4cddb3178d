#pragma once

#include "codecs/DecodedImage.h"
#include "pixels/RowSource.h"

#include <cstddef>
#include <memory>
#include <span>

namespace Pelgra {

/// Decodes a JPEG to 8-bit grey, RGB or CMYK. In a file cut off anywhere after the beginning of its first scan the
/// missing rows are grey. Throws DecodeError for everything else that cannot be read.
DecodedImage decodeJpeg(std::span<const std::byte> file);

/// Everything decodeJpeg() gives but the pixels: of the picture, the size, the colour model and the profile. Throws
/// DecodeError.
DecodedImage describeJpeg(std::span<const std::byte> file);

/// The rows decodeJpeg() would give of a grey or RGB picture, decoded as they are asked for and never all in memory,
/// with a beginning to look at or without. Throws DecodeError for CMYK and where decodeJpeg() does, and only here.
std::unique_ptr<RowSource> jpegRows(Bytes file, Bytes iccProfile, bool withBeginning = true);

} // namespace Pelgra
