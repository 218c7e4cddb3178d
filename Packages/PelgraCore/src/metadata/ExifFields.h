#pragma once

#include <cstddef>
#include <optional>
#include <span>

namespace Pelgra {

/// The entries of an EXIF block that decide how a picture is shown.
struct ExifFields {
    unsigned orientation = 1; ///< CIPA DC-008, 1 to 8
    std::optional<double> dpiX; ///< dots per inch of the stored pixels; absent where the block gives none
    std::optional<double> dpiY;
};

/// Reads the first directory of a TIFF structure. What is damaged counts as absent.
ExifFields readExifFields(std::span<const std::byte> exif);

/// A plausible resolution: finite and above zero.
bool isUsableResolution(double dotsPerInch);

} // namespace Pelgra
