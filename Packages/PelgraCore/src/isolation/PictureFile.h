#pragma once

#include "files/ByteSink.h"
#include "PelgraCore/RasterImage.h"

#include <optional>

namespace Pelgra {

/// A small picture in sRGB on its way from a worker: a header and tight rows. Its profile, where it has one, stays
/// behind: nobody above is to read it.
void writePicture(const RasterImage& image, ByteSink& sink);

/// The bytes such a file may have for a picture of that many pixels.
std::size_t pictureFileLimit(std::size_t pixels);

/// Reads it from a descriptor that nobody can make shorter, and believes nothing. None where it is not a picture of at
/// most that many pixels.
std::optional<RasterImage> readPicture(int descriptor, std::size_t mostPixels);

} // namespace Pelgra
