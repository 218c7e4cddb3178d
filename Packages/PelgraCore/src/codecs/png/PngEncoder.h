#pragma once

#include "codecs/EncodeProperties.h"
#include "files/ByteSink.h"
#include "pixels/RowSource.h"

namespace Pelgra {

/// Writes a PNG (third edition): grey or colour, with or without alpha, 8 or 16 bits to the component. The way of
/// compression follows the content. Same errors as encodeImage().
void encodePng(RowSource& rows, const EncodeProperties& properties, ByteSink& sink);

} // namespace Pelgra
