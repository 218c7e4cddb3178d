#pragma once

#include "codecs/EncodeProperties.h"
#include "files/ByteSink.h"
#include "pixels/RowSource.h"

namespace Pelgra {

/// Writes a JFIF file: 8 bits, grey or colour. Same errors as encodeImage().
void encodeJpeg(RowSource& rows, const EncodeProperties& properties, ByteSink& sink);

} // namespace Pelgra
