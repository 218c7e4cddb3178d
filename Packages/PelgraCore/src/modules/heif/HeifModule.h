#pragma once

#include "codecs/DecodedImage.h"
#include "codecs/EncodeProperties.h"
#include "files/ByteSink.h"
#include "pixels/RowSource.h"

#include <cstddef>
#include <span>

namespace Pelgra {

/// The table of the module "heif": HEIC and AVIF.
struct HeifModule {
    /// The top-level picture with the given index, counted from the primary one; the primary one where there is none of
    /// that index. Its pixels are already turned. Throws DecodeError.
    DecodedImage (*decode)(std::span<const std::byte> file, int index);
    /// Writes HEIC. Throws as encodeImage() does.
    void (*encode)(RowSource& rows, const EncodeProperties& properties, ByteSink& sink);
};

} // namespace Pelgra
