#include "codecs/png/PngFilter.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdlib>

namespace Pelgra {

namespace {

using Sample = unsigned char;

/// The rows a filter looks at; each pointer is at the first sample of its row.
struct FilterInput {
    const Sample* current;
    const Sample* left;
    const Sample* above;
    const Sample* aboveLeft;
    std::size_t count;
};

/// Applies a predictor to a whole row and sums the absolute values of the differences, taken as signed bytes. One loop
/// without branches, so that the compiler turns it into vector code.
template <typename Predictor>
std::uint64_t apply(const FilterInput& in, Sample* __restrict out, Predictor predict)
{
    std::uint64_t total = 0;
    constexpr std::size_t blockSize = 8192; // block sums fit 32 bits and add up quickly
    for (std::size_t start = 0; start < in.count; start += blockSize) {
        const std::size_t end = std::min(in.count, start + blockSize);
        std::uint32_t sum = 0;
        for (std::size_t index = start; index < end; ++index) {
            const int predicted = predict(in.left[index], in.above[index], in.aboveLeft[index]);
            const auto difference = static_cast<Sample>(in.current[index] - predicted);
            out[index] = difference;
            sum += difference < 128 ? difference : 256u - difference;
        }
        total += sum;
    }
    return total;
}

int paeth(int left, int above, int aboveLeft)
{
    const int fromLeft = std::abs(above - aboveLeft);
    const int fromAbove = std::abs(left - aboveLeft);
    const int fromAboveLeft = std::abs(left + above - 2 * aboveLeft);
    const int best = fromAbove <= fromAboveLeft ? above : aboveLeft;
    return fromLeft <= fromAbove && fromLeft <= fromAboveLeft ? left : best;
}

} // namespace

PngFilter::PngFilter(const RasterForm& form, PngFilterChoice choice)
    : m_choice(choice)
    , m_swap(form.bitsPerComponent == 16 && std::endian::native == std::endian::little)
    , m_rowBytes(form.rowBytes())
    , m_distance(form.bytesPerPixel())
{
    for (PixelBuffer* const buffer : {&m_current, &m_above}) {
        buffer->resize(m_distance + m_rowBytes);
        std::fill(buffer->begin(), buffer->end(), std::byte{0});
    }
    if (choice == PngFilterChoice::adaptive)
        m_candidates.resize(5 * m_rowBytes);
}

void PngFilter::load(std::span<const std::byte> row, PixelBuffer& buffer) const
{
    std::byte* const to = buffer.data() + m_distance;
    if (!m_swap) {
        std::copy(row.begin(), row.end(), to);
        return;
    }
    for (std::size_t index = 0; index < row.size(); index += 2) {
        to[index] = row[index + 1];
        to[index + 1] = row[index];
    }
}

void PngFilter::filter(const RowStripe& stripe, std::span<std::byte> out)
{
    if (stripe.above().empty())
        std::fill(m_above.begin(), m_above.end(), std::byte{0});
    else
        load(stripe.above(), m_above);
    for (int index = 0; index < stripe.count(); ++index) {
        load(stripe.row(index), m_current);
        filterRow(out.data() + static_cast<std::size_t>(index) * filteredRowBytes());
        std::swap(m_current, m_above);
    }
}

void PngFilter::filterRow(std::byte* out)
{
    if (m_choice == PngFilterChoice::none) {
        out[0] = std::byte{0};
        std::copy_n(m_current.data() + m_distance, m_rowBytes, out + 1);
        return;
    }
    const auto* const current = reinterpret_cast<const Sample*>(m_current.data());
    const auto* const above = reinterpret_cast<const Sample*>(m_above.data());
    const FilterInput in{current + m_distance, current, above + m_distance, above, m_rowBytes};
    const auto candidate = [&](std::size_t type) {
        return reinterpret_cast<Sample*>(m_candidates.data()) + type * m_rowBytes;
    };
    const std::array<std::uint64_t, 5> sums{
        apply(in, candidate(0), [](int, int, int) { return 0; }),
        apply(in, candidate(1), [](int left, int, int) { return left; }),
        apply(in, candidate(2), [](int, int up, int) { return up; }),
        apply(in, candidate(3), [](int left, int up, int) { return (left + up) / 2; }),
        apply(in, candidate(4), paeth),
    };
    const auto best = static_cast<std::size_t>(std::min_element(sums.begin(), sums.end()) - sums.begin());
    out[0] = static_cast<std::byte>(best);
    std::copy_n(m_candidates.data() + best * m_rowBytes, m_rowBytes, out + 1);
}

} // namespace Pelgra
