#pragma once

#include "codecs/DecodedImage.h"
#include "PelgraCore/FileFormat.h"
#include "pixels/RowSource.h"

#include <filesystem>
#include <memory>

namespace Pelgra {

/// The picture with the given index of an image file, by its content; the first where there is none of that index, or
/// where the format's further pictures are frames of an animation. An SVG file gives the drawing. The metadata is raw;
/// a profile that does not fit the pixels is gone. Throws EngineError::unreadable(file).
DecodedImage decodeImage(const std::filesystem::path& file, int index);

/// A picture whose rows may still be in its file.
struct OpenedImage {
    DecodedImage decoded; ///< without pixels where there are rows
    std::unique_ptr<RowSource> rows; ///< may be null; asking for one may throw DecodeError
};

/// The first picture of a file that is to be written in the target format. It is decoded row by row where that serves
/// the encoder as well as the whole does and it needs no turning. `threads` may be at work on it at once. Throws
/// EngineError::unreadable(file).
OpenedImage openImage(const std::filesystem::path& file, FileFormat target, int threads);

} // namespace Pelgra
