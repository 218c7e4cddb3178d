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

/// Whether the lines of text seem to run up or down. There are always some where they run along: between lines of text
/// there is white all the way, so the ink changes more from row to row than from column to column.
bool runsSideways(const GrayImage& picture);

} // namespace Pelgra
