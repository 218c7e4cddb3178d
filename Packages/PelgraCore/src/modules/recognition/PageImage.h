#pragma once

#include "modules/recognition/RecognitionModule.h"

#include <memory>

#include <leptonica/allheaders.h>

namespace Pelgra {

struct PixDeleter {
    void operator()(Pix* pix) const { pixDestroy(&pix); }
};
using PixHandle = std::unique_ptr<Pix, PixDeleter>;

/// The picture in the library's form; null where memory is short.
PixHandle pixFrom(const GrayImage& picture);

/// Turned clockwise by that many quarters, 0 to 3.
PixHandle turned(const Pix& pix, int quarters);

} // namespace Pelgra
