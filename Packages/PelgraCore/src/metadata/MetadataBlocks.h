#pragma once

#include "PelgraCore/RasterImage.h"
#include "pixels/RowSource.h"

#include <cstddef>
#include <span>

/// Shapes that metadata takes inside files, common to several formats.
namespace Pelgra {

/// The picture's ICC profile, or nothing where it does not describe pixels of this colour model (ICC.1, header field
/// "data colour space").
std::span<const std::byte> usableProfile(const RasterForm& form);

/// IPTC records as the image resource 0x0404 of a Photoshop resource block, the wrapping other readers look for.
Bytes photoshopResource(std::span<const std::byte> iptc);

/// Dots per inch as a whole number of 1 to 65535.
unsigned wholeDotsPerInch(double dpi);

/// Dots per metre, for headers that count in metres.
std::uint32_t dotsPerMetre(double dpi);

/// The way back. Whole dots per metre cannot say 144 dots per inch: the whole number that was meant is taken.
double dotsPerInchFrom(double dotsPerMetre);

} // namespace Pelgra
