#pragma once

#include "PelgraCore/RasterImage.h"

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

/// Edits of the TIFF structure that carries EXIF (TIFF 6.0, CIPA DC-008). Values stay at their offsets wherever that is
/// possible, because maker notes hold offsets of their own.
namespace Pelgra::ExifStructure {

/// A field of a directory as it stands in the file.
struct Field {
    std::uint16_t tag = 0;
    std::uint16_t type = 0;
    std::uint32_t count = 0;
    std::array<std::byte, 4> value{}; ///< the value itself where it fits, else its offset; in the file's byte order
};

struct MainDirectory {
    std::endian order = std::endian::little;
    std::vector<Field> fields; ///< only those whose values lie inside the structure
};

/// The first directory; none where the bytes are not a TIFF structure.
std::optional<MainDirectory> mainDirectory(std::span<const std::byte> exif);

/// The bytes of a field of mainDirectory(exif).
std::span<const std::byte> valueOf(const Field& field, std::span<const std::byte> exif, std::endian order);

/// The first field of this tag in the directory that the pointers lead to from the first one; none where it is not
/// there.
std::optional<Field> fieldBehind(std::span<const std::uint16_t> pointers, std::uint16_t tag,
                                 std::span<const std::byte> exif);

/// Bytes of one value of a field type (TIFF 6.0, section 2); 0 for a type that does not exist.
std::size_t sizeOfType(std::uint16_t type);

/// The structure with this resolution, in dots per inch, in its first directory; a new one where there was none.
Bytes withResolution(std::span<const std::byte> exif, double dpiWidth, double dpiHeight);

/// The structure written anew without its largest values, so that it takes at most `limit` bytes. Empty when even that
/// is too much or the bytes are not a TIFF structure.
Bytes reducedTo(std::span<const std::byte> exif, std::size_t limit);

/// Numerator and denominator of a resolution, exact to a ten-thousandth.
std::array<std::uint32_t, 2> resolutionFraction(double dpi);

} // namespace Pelgra::ExifStructure
