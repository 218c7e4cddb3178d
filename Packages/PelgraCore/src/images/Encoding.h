#pragma once

#include "codecs/EncodeProperties.h"
#include "files/ByteSink.h"
#include "PelgraCore/FileFormat.h"
#include "pixels/RowSource.h"

namespace Pelgra {

/// Writes a picture (grey or RGB, not CMYK) as one of the five raster formats. Alpha is kept wherever the format has a
/// place for it; for JPEG it must already be gone. Rows are read once each, so a picture larger than the memory can be
/// written. Throws StorageError of the sink as it is, EngineError::unsupported(format) for a format without an encoder,
/// and std::runtime_error when the encoder itself fails.
void encodeImage(FileFormat format, RowSource& rows, const EncodeProperties& properties, ByteSink& sink);

} // namespace Pelgra
