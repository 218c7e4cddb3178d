#pragma once

#include "TiffLayout.h"

namespace Pelgra {

/// The pixels of the current page as stored, not turned, with straight alpha. Rows that are damaged or missing stay
/// black as long as any can be read. Throws DecodeError.
RasterImage readTiffPixels(const TiffFile& file, const TiffLayout& layout);

} // namespace Pelgra
