#pragma once

#include "codecs/DecodedImage.h"

#include <filesystem>

namespace Pelgra {

/// The picture with the given index of an image file, by its content; the first where there is none of that index, or
/// where the format's further pictures are frames of an animation. An SVG file gives the drawing. The metadata is raw;
/// a profile that does not fit the pixels is gone. Throws EngineError::unreadable(file).
DecodedImage decodeImage(const std::filesystem::path& file, int index);

} // namespace Pelgra
