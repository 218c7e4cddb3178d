#pragma once

#include "TiffLayout.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace Pelgra {

/// Turns stored samples of any depth into the picture's.
class TiffSamples {
public:
    explicit TiffSamples(const TiffLayout& layout)
        : m_layout(layout)
    {
    }

    /// Puts `pixels` pixels of a stored row into the picture's row from column x on. `plane` says which sample of the
    /// pixel the row holds, where every sample has a plane of its own, and is otherwise 0. Bytes that the row should
    /// have but does not are left out.
    void place(std::span<const std::byte> stored, int plane, int pixels, int x, std::span<std::byte> row);

private:
    void unpack(std::span<const std::byte> stored, std::size_t count);
    template <typename Sample>
    void distribute(std::size_t perPixel, int plane, int pixels, std::span<std::byte> to) const;

    const TiffLayout& m_layout;
    std::vector<std::uint16_t> m_values; ///< of one row, scaled to the picture's depth, or indices into the palette
};

} // namespace Pelgra
