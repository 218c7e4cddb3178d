#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace Pelgra {

/// Undoes the filter of a PNG row (PNG Specification, third edition, section 9).
///
/// @param type  0 to 4, as it stands in front of the row
/// @param filtered  the row as stored; up to unfilterSlack bytes behind it are read, so they must be there
/// @param above  the row above, undone; the same holds for what is behind it
/// @param row  where the result goes, of the same size
/// @param pixelBytes  1, 2, 3, 4, 6 or 8
/// @return false for an unknown type
bool unfilterRow(std::uint8_t type, const std::uint8_t* filtered, const std::uint8_t* above,
                 std::span<std::uint8_t> row, std::size_t pixelBytes);

inline constexpr std::size_t unfilterSlack = 8;

} // namespace Pelgra
