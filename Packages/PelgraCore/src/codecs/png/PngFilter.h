#pragma once

#include "pixels/RowSource.h"
#include "pixels/RowStripe.h"

#include <cstddef>
#include <cstdint>
#include <span>

namespace Pelgra {

/// How the rows of a PNG are prepared for compression (PNG, third edition, section 9).
enum class PngFilterChoice : std::uint8_t {
    none, ///< drawn content: repeated rows and runs are found by the compressor itself
    adaptive, ///< photographic content: for each row the filter with the smallest sum of absolute differences
};

/// Turns rows into the byte string a PNG compresses: a filter byte and the filtered samples in big-endian order.
class PngFilter {
public:
    PngFilter(const RasterForm& form, PngFilterChoice choice);

    /// Bytes of one filtered row.
    std::size_t filteredRowBytes() const { return m_rowBytes + 1; }

    /// Filters the rows of a stripe; `out` holds filteredRowBytes() for each.
    void filter(const RowStripe& stripe, std::span<std::byte> out);

private:
    void load(std::span<const std::byte> row, PixelBuffer& buffer) const;
    void filterRow(std::byte* out);

    PngFilterChoice m_choice;
    bool m_swap; ///< samples are 16-bit and the machine is little-endian
    std::size_t m_rowBytes;
    std::size_t m_distance; ///< bytes from a sample to the one on its left
    PixelBuffer m_current; ///< the row behind `m_distance` zeros, which stand for the pixel left of the first
    PixelBuffer m_above;
    PixelBuffer m_candidates; ///< the row under each of the five filters
};

} // namespace Pelgra
