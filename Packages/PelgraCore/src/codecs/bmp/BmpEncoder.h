#pragma once

#include "codecs/EncodeProperties.h"
#include "files/ByteSink.h"
#include "pixels/RowSource.h"

namespace Pelgra {

/// Writes a Windows bitmap, 8 bits to the component: grey with a palette, colour with 24 bits, transparency with 32
/// bits and the fifth version of the header. Same errors as encodeImage().
void encodeBmp(RowSource& rows, const EncodeProperties& properties, ByteSink& sink);

} // namespace Pelgra
