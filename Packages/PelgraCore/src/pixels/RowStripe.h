#pragma once

#include "pixels/RowSource.h"

#include <algorithm>
#include <cstddef>
#include <span>

namespace Pelgra {

/// Some successive rows of a picture, in memory for as long as this lives. Rows of a picture that is in memory anyway
/// are not copied; that picture must then outlive the stripe.
class RowStripe {
public:
    RowStripe() = default;
    RowStripe(RowStripe&&) = default; // a moved vector keeps its elements in place, so the pointers stay right
    RowStripe& operator=(RowStripe&&) = default;

    /// Reads rows `first` to `first + count - 1`. `before` is the stripe that ends above the first row; none at the
    /// top.
    RowStripe(RowSource& rows, int first, int count, const RowStripe* before)
        : m_count(count)
        , m_rowBytes(rows.form().rowBytes())
        , m_stride(m_rowBytes)
    {
        if (const RasterImage* const image = rows.wholeImage()) {
            m_rows = image->row(first).data();
            m_stride = image->stride;
            m_above = first > 0 ? image->row(first - 1) : std::span<const std::byte>();
            return;
        }
        m_copy.resize(m_stride * static_cast<std::size_t>(count + 1));
        m_rows = m_copy.data() + m_stride;
        if (before) {
            const std::span<const std::byte> last = before->row(before->count() - 1);
            std::copy(last.begin(), last.end(), m_copy.begin());
            m_above = std::span(m_copy).first(m_stride);
        }
        for (int index = 0; index < count; ++index) {
            const std::span<const std::byte> row = rows.row(first + index);
            std::copy(row.begin(), row.end(), m_copy.begin() + static_cast<std::ptrdiff_t>(m_stride) * (index + 1));
        }
    }

    int count() const { return m_count; }

    /// The row by its place in the stripe, from 0.
    std::span<const std::byte> row(int index) const
    {
        return {m_rows + m_stride * static_cast<std::size_t>(index), m_rowBytes};
    }

    /// The row above the first; empty at the top of the picture.
    std::span<const std::byte> above() const { return m_above; }

    /// A view of a rectangle of this stripe that counts as a picture of its own; this must outlive it.
    RowStripe part(int firstRow, int count, std::size_t firstByte, std::size_t rowBytes) const
    {
        RowStripe view;
        view.m_count = count;
        view.m_rowBytes = rowBytes;
        view.m_stride = m_stride;
        view.m_rows = row(firstRow).subspan(firstByte).data();
        return view;
    }

private:
    int m_count = 0;
    std::size_t m_rowBytes = 0;
    std::size_t m_stride = 0;
    PixelBuffer m_copy; ///< the row above, then the rows; empty for a view
    const std::byte* m_rows = nullptr;
    std::span<const std::byte> m_above;
};

} // namespace Pelgra
