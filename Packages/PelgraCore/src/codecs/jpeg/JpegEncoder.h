#pragma once

#include "images/Encoding.h"

namespace Pelgra {

/// Writes a JFIF file: 8 bits, grey or colour. Same errors as encodeImage().
void encodeJpeg(RowSource& rows, const EncodeProperties& properties, ByteSink& sink);

} // namespace Pelgra
