#pragma once

#include "PelgraCore/RasterImage.h"

#include <cstddef>
#include <span>

/// The note that a camera's maker leaves in EXIF data, in a form of its own. Most are directories like the others, and
/// many say where their values stand by counting from the start of all the data: when a program moves such a note, its
/// values are lost unless it knows the form.
namespace Pelgra::MakerNote {

/// From where the directory of a note counts.
enum class Kind {
    none, ///< there is no note
    closed, ///< from the note itself, or the note is no directory at all: it may be moved
    open, ///< from the start of the data: it may be moved only by one who corrects its offsets
    broken, ///< it was moved before, and where its values are cannot be told
};

Kind kindIn(std::span<const std::byte> exif);

/// The data with an open note that was moved put right, where all values of its directory lie just behind it and only
/// their place was forgotten; else the data as they are.
Bytes withOffsetsRestored(std::span<const std::byte> exif);

} // namespace Pelgra::MakerNote
