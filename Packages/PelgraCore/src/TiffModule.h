#pragma once

#include "ByteSink.h"
#include "Decoders.h"
#include "Encoders.h"
#include "RowSource.h"

#include <cstddef>
#include <span>

namespace Pelgra {

/// The table of the module "tiff".
struct TiffModule {
    /// The page with the given index, counted from 0; the first where there is none of that index. Throws DecodeError.
    DecodedImage (*decode)(std::span<const std::byte> file, int index);
    /// Writes TIFF. Throws as encodeImage() does.
    void (*encode)(RowSource& rows, const EncodeProperties& properties, ByteSink& sink);
};

} // namespace Pelgra
