#pragma once

#include "modules/rendering/ProfileConversion.h"

#include <mupdf/fitz.h>

/// Debian builds MuPDF without colour management, so it takes colours with a profile for the device's. Where a profile
/// means visibly different ones, its colours get a space of their own.
namespace Pelgra::Rendering {

/// Whether the space was made for a profile.
bool hasProfile(const fz_colorspace* space);

/// The conversion of a space that was made for a profile; null for others.
std::shared_ptr<const ProfileConversion> conversionOf(const fz_colorspace* space) noexcept;

/// Converts pixels of such a space to RGB or grey; with alpha, both sides are premultiplied. No spot colours. False
/// where it cannot be done.
bool convertProfilePixels(const fz_pixmap& from, fz_pixmap& to) noexcept;

} // namespace Pelgra::Rendering
