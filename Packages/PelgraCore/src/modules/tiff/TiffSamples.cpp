#include "TiffSamples.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace Pelgra {

namespace {

template <typename Number>
Number numberAt(std::span<const std::byte> bytes, std::size_t index)
{
    Number number{};
    std::memcpy(&number, bytes.data() + index * sizeof number, sizeof number);
    return number;
}

/// A sample of any whole number of bits up to 16, packed from the highest bit (TIFF 6.0, section "FillOrder").
std::uint32_t packedAt(std::span<const std::byte> bytes, std::size_t index, int bits)
{
    const std::size_t first = index * static_cast<std::size_t>(bits);
    std::uint32_t window = 0;
    for (std::size_t place = first / 8; place < first / 8 + 3; ++place)
        window = window << 8 | (place < bytes.size() ? std::to_integer<std::uint32_t>(bytes[place]) : 0);
    return window >> (24 - first % 8 - static_cast<std::size_t>(bits)) & ((1u << bits) - 1);
}

std::uint16_t fromShare(double share)
{
    return static_cast<std::uint16_t>(std::lround((share > 0 ? std::min(share, 1.0) : 0.0) * 65535));
}

} // namespace

void TiffSamples::unpack(std::span<const std::byte> stored, std::size_t count)
{
    const int bits = m_layout.bits;
    const bool isIndex = !m_layout.palette.empty();
    const bool isSigned = m_layout.format == SAMPLEFORMAT_INT;
    m_values.resize(count);
    for (std::size_t index = 0; index < count; ++index) {
        if (m_layout.format == SAMPLEFORMAT_IEEEFP) {
            m_values[index] = fromShare(bits == 32 ? numberAt<float>(stored, index) : numberAt<double>(stored, index));
            continue;
        }
        // Deep samples come in the machine's byte order.
        std::uint32_t value = bits == 32 ? numberAt<std::uint32_t>(stored, index) >> 16
            : bits == 16                 ? numberAt<std::uint16_t>(stored, index)
                                         : packedAt(stored, index, bits);
        const int usedBits = std::min(bits, 16);
        if (isSigned)
            value ^= 1u << (usedBits - 1);
        const std::uint32_t coded = (1u << usedBits) - 1;
        const std::uint32_t maximum = m_layout.outputBits == 16 ? 65535 : 255;
        m_values[index] =
            static_cast<std::uint16_t>(isIndex || coded == maximum ? value : (value * maximum + coded / 2) / coded);
    }
}

template <typename Sample>
void TiffSamples::distribute(std::size_t perPixel, int plane, int pixels, std::span<std::byte> to) const
{
    const std::size_t components = static_cast<std::size_t>(m_layout.model == ColorModel::gray      ? 1
                                                                : m_layout.model == ColorModel::rgb ? 3
                                                                                                    : 4)
        + (m_layout.hasAlpha ? 1 : 0);
    const auto used = static_cast<std::size_t>(m_layout.usedSamples);
    const auto put = [&](std::size_t pixel, std::size_t component, std::uint32_t value) {
        const auto sample = static_cast<Sample>(value);
        std::memcpy(to.data() + (pixel * components + component) * sizeof sample, &sample, sizeof sample);
    };
    const std::uint32_t white = m_layout.isInverted ? (m_layout.outputBits == 16 ? 65535 : 255) : 0;
    for (std::size_t pixel = 0; pixel < static_cast<std::size_t>(pixels); ++pixel) {
        for (std::size_t index = 0; index < perPixel; ++index) {
            const std::size_t sample = index + static_cast<std::size_t>(plane);
            const std::uint32_t value = m_values[pixel * perPixel + index];
            const bool isAlpha = m_layout.hasAlpha && sample + 1 == used;
            if (sample >= used)
                continue;
            if (isAlpha) {
                const std::uint32_t scaled = m_layout.palette.empty()
                    ? value
                    : value * 255 / static_cast<std::uint32_t>(m_layout.palette.size() - 1);
                put(pixel, components - 1, scaled);
            } else if (m_layout.palette.empty()) {
                put(pixel, sample, white > 0 ? white - value : value);
            } else {
                for (std::size_t component = 0; component < 3; ++component)
                    put(pixel, component, m_layout.palette[value][component]);
            }
        }
    }
}

void TiffSamples::place(std::span<const std::byte> stored, int plane, int pixels, int x, std::span<std::byte> row)
{
    const std::size_t perPixel = m_layout.isPlanar ? 1 : static_cast<std::size_t>(m_layout.samples);
    const std::size_t count = static_cast<std::size_t>(pixels) * perPixel;
    if (stored.size() < (count * static_cast<std::size_t>(m_layout.bits) + 7) / 8)
        return;
    unpack(stored, count);
    const std::size_t pixelBytes = row.size() / static_cast<std::size_t>(m_layout.width);
    const std::span<std::byte> to = row.subspan(pixelBytes * static_cast<std::size_t>(x));
    if (m_layout.outputBits == 16)
        distribute<std::uint16_t>(perPixel, plane, pixels, to);
    else
        distribute<std::uint8_t>(perPixel, plane, pixels, to);
}

} // namespace Pelgra
