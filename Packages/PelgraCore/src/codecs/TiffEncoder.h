#pragma once

#include "codecs/EncodeProperties.h"
#include "files/ByteSink.h"
#include "pixels/RowSource.h"

namespace Pelgra {

/// Writes a TIFF 6.0 file in strips compressed with Deflate. EXIF and GPS keep the offsets of their values, so maker
/// notes stay readable. Same errors as encodeImage().
void encodeTiff(RowSource& rows, const EncodeProperties& properties, ByteSink& sink);

} // namespace Pelgra
