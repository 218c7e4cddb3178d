#include "HeifPlanes.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <new>
#include <stdexcept>
#include <vector>

namespace Pelgra {

namespace {

/// The rows of one plane, allocated by the library.
template <typename Sample>
struct Plane {
    Plane(heif_image& image, heif_channel channel, int width, int height, int depth)
    {
        checkHeif<std::runtime_error>(heif_image_add_plane(&image, channel, width, height, depth));
        int bytes = 0;
        data = heif_image_get_plane(&image, channel, &bytes);
        stride = static_cast<std::size_t>(bytes);
        if (!data)
            throw std::bad_alloc();
    }
    Sample* row(int y) const { return reinterpret_cast<Sample*>(data + stride * static_cast<std::size_t>(y)); }

    std::uint8_t* data = nullptr;
    std::size_t stride = 0;
};

/// Samples of a row in the coded depth: 8 bits as they are, 16 as the nearest of 10.
void loadRow(std::span<const std::byte> row, std::vector<std::uint8_t>& samples)
{
    std::memcpy(samples.data(), row.data(), samples.size());
}

void loadRow(std::span<const std::byte> row, std::vector<std::uint16_t>& samples)
{
    for (std::size_t index = 0; index < samples.size(); ++index) {
        std::uint16_t sample = 0;
        std::memcpy(&sample, row.data() + 2 * index, 2);
        samples[index] = static_cast<std::uint16_t>((std::uint32_t{sample} * 1023 + 32767) / 65535);
    }
}

/// Every `step`-th sample.
template <typename Sample, int step>
void copyComponent(const Sample* from, Sample* to, int width)
{
    for (int x = 0; x < width; ++x)
        to[x] = from[x * step];
}

template <typename Sample, int step>
void writeLuma(const Sample* pixels, Sample* luma, int width)
{
    for (int x = 0; x < width; ++x, pixels += step)
        luma[x] = static_cast<Sample>((19595 * pixels[0] + 38470 * pixels[1] + 7471 * pixels[2] + 32768) >> 16);
}

/// The sums of the components of four pixels as blue and red difference. Weights in 1/65536; four times 10 bits and a
/// weight stay below 2^28.
template <typename Sample>
void writeDifference(int red, int green, int blue, Sample& cb, Sample& cr)
{
    const auto centred = [](int difference) {
        constexpr int depth = sizeof(Sample) == 1 ? 8 : 10;
        constexpr int middle = 1 << (depth - 1), maximum = (1 << depth) - 1;
        return static_cast<Sample>(std::min(middle + ((difference + (1 << 17)) >> 18), maximum));
    };
    cb = centred(-11059 * red - 21709 * green + 32768 * blue);
    cr = centred(32768 * red - 27439 * green - 5329 * blue);
}

template <typename Sample, int step>
void writeDifferences(const Sample* pixels, Sample* cb, Sample* cr, int width)
{
    for (int x = 0; x < width; ++x, pixels += step)
        writeDifference(4 * pixels[0], 4 * pixels[1], 4 * pixels[2], cb[x], cr[x]);
}

/// One for each square of four pixels; the last column of an odd width stands in for the missing one.
template <typename Sample, int step>
void writeHalvedDifferences(const Sample* upper, const Sample* lower, Sample* cb, Sample* cr, int width)
{
    const int pairs = width / 2;
    for (int x = 0; x < pairs; ++x, upper += 2 * step, lower += 2 * step)
        writeDifference(upper[0] + upper[step] + lower[0] + lower[step],
                        upper[1] + upper[step + 1] + lower[1] + lower[step + 1],
                        upper[2] + upper[step + 2] + lower[2] + lower[step + 2], cb[x], cr[x]);
    if (width % 2 != 0)
        writeDifference(2 * (upper[0] + lower[0]), 2 * (upper[1] + lower[1]), 2 * (upper[2] + lower[2]), cb[pairs],
                        cr[pairs]);
}

/// Fills the planes of one picture with `components` samples for each pixel.
template <typename Sample, int components>
class PlaneFiller {
public:
    PlaneFiller(heif_image& image, const RasterForm& form, bool halved)
        : m_width(form.width)
        , m_height(form.height)
        , m_halved(halved)
    {
        constexpr int depth = sizeof(Sample) == 1 ? 8 : 10;
        m_luma.emplace_back(image, heif_channel_Y, m_width, m_height, depth);
        if (hasColor) {
            const int width = halved ? (m_width + 1) / 2 : m_width;
            const int height = halved ? (m_height + 1) / 2 : m_height;
            m_cb.emplace_back(image, heif_channel_Cb, width, height, depth);
            m_cr.emplace_back(image, heif_channel_Cr, width, height, depth);
        }
        if (hasAlpha)
            m_alpha.emplace_back(image, heif_channel_Alpha, m_width, m_height, depth);
    }

    void fill(RowSource& rows) const
    {
        std::array<std::vector<Sample>, 2> pair;
        for (std::vector<Sample>& samples : pair)
            samples.resize(static_cast<std::size_t>(m_width) * components);
        const int step = m_halved ? 2 : 1;
        for (int y = 0; y < m_height; y += step) {
            const int count = std::min(step, m_height - y);
            for (int index = 0; index < count; ++index) {
                std::vector<Sample>& samples = pair[static_cast<std::size_t>(index)];
                loadRow(rows.row(y + index), samples);
                fillLumaAndAlpha(samples.data(), y + index);
            }
            if constexpr (hasColor)
                fillDifferences(pair[0].data(), pair[static_cast<std::size_t>(count - 1)].data(), y / step);
        }
    }

private:
    static constexpr bool hasColor = components >= 3;
    static constexpr bool hasAlpha = components % 2 == 0;

    void fillLumaAndAlpha(const Sample* samples, int y) const
    {
        if constexpr (hasColor)
            writeLuma<Sample, components>(samples, m_luma.front().row(y), m_width);
        else
            copyComponent<Sample, components>(samples, m_luma.front().row(y), m_width);
        if constexpr (hasAlpha)
            copyComponent<Sample, components>(samples + components - 1, m_alpha.front().row(y), m_width);
    }

    void fillDifferences(const Sample* upper, const Sample* lower, int y) const
    {
        Sample* const cb = m_cb.front().row(y);
        Sample* const cr = m_cr.front().row(y);
        if (m_halved)
            writeHalvedDifferences<Sample, components>(upper, lower, cb, cr, m_width);
        else
            writeDifferences<Sample, components>(upper, cb, cr, m_width);
    }

    int m_width;
    int m_height;
    bool m_halved;
    std::vector<Plane<Sample>> m_luma, m_cb, m_cr, m_alpha; ///< none or one of each
};

template <typename Sample>
void fillPlanes(heif_image& image, RowSource& rows, bool halved)
{
    const RasterForm& form = rows.form();
    switch (form.componentCount()) {
    case 1:
        return PlaneFiller<Sample, 1>(image, form, halved).fill(rows);
    case 2:
        return PlaneFiller<Sample, 2>(image, form, halved).fill(rows);
    case 3:
        return PlaneFiller<Sample, 3>(image, form, halved).fill(rows);
    default:
        return PlaneFiller<Sample, 4>(image, form, halved).fill(rows);
    }
}

} // namespace

HeifImage planesOf(RowSource& rows, bool halved)
{
    const RasterForm& form = rows.form();
    const bool isGray = form.model == ColorModel::gray;
    const heif_chroma chroma = isGray ? heif_chroma_monochrome : halved ? heif_chroma_420 : heif_chroma_444;
    heif_image* raw = nullptr;
    checkHeif<std::runtime_error>(heif_image_create(
        form.width, form.height, isGray ? heif_colorspace_monochrome : heif_colorspace_YCbCr, chroma, &raw));
    HeifImage image(raw);
    if (form.bitsPerComponent == 16)
        fillPlanes<std::uint16_t>(*image, rows, halved);
    else
        fillPlanes<std::uint8_t>(*image, rows, halved);
    return image;
}

} // namespace Pelgra
