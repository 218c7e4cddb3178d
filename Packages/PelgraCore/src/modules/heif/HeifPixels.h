#pragma once

#include "HeifHandles.h"
#include "PelgraCore/RasterImage.h"

namespace Pelgra {

/// Threads that work on one picture; more gain nothing.
inline constexpr int mostThreads = 8;

/// Turns a decoded picture of the library, in whatever colour model it was coded, into grey or RGB with straight alpha:
/// 8 bits where the coded samples have no more, else 16. On at most that many threads; with these colour codes where
/// given in place of the picture's own. Throws DecodeError.
RasterImage pixelsOf(const heif_image& image, bool isPremultiplied, int threads = mostThreads,
                     const heif_color_profile_nclx* givenCodes = nullptr);

} // namespace Pelgra
