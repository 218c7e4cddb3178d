#pragma once

#include "files/ByteSink.h"
#include "PelgraCore/FileFormat.h"
#include "PelgraCore/ImageLoading.h"
#include "pixels/RowSource.h"

namespace Pelgra {

/// What is written beside the pixels.
struct EncodeProperties {
    double dpiWidth = 72;
    double dpiHeight = 72;
    double quality = 0.9; ///< of the lossy formats; clamped to 0 to 1 here
    ImageMetadata metadata;
    /// How many threads one encode may keep busy. Leave 1 where several pictures are encoded at the same time anyway.
    /// The written bytes are the same for any number.
    int threads = 1;
};

/// Writes a picture (grey or RGB, not CMYK) as one of the five raster formats. Alpha is kept wherever the format has a
/// place for it; for JPEG it must be gone. Rows are read once each, so a picture larger than the memory can be written
/// (HEIC alone needs it whole). Throws StorageError of the sink as it is, EngineError::unsupported(format) for a format
/// without an encoder, and std::runtime_error when the encoder itself fails.
void encodeImage(FileFormat format, RowSource& rows, const EncodeProperties& properties, ByteSink& sink);

} // namespace Pelgra
