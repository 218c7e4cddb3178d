#include "pixels/ImageScaling.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <stdexcept>
#include <vector>

namespace Pelgra {

namespace {

/// The pixels of one row or column that a smaller pixel covers, the outer ones in part.
struct Coverage {
    int first = 0;
    int last = 0;
    float firstWeight = 1; ///< of the first pixel, also where it is the last
    float lastWeight = 1;

    float weightOf(int index) const { return index == first ? firstWeight : index == last ? lastWeight : 1; }
};

/// What each of the `target` pixels covers of the `source` ones; weights are parts of a source pixel.
std::vector<Coverage> coverages(int source, int target)
{
    const double step = static_cast<double>(source) / target;
    std::vector<Coverage> result(static_cast<std::size_t>(target));
    for (int index = 0; index < target; ++index) {
        const double begin = index * step;
        const double end = index == target - 1 ? source : (index + 1) * step;
        Coverage& coverage = result[static_cast<std::size_t>(index)];
        coverage.first = std::min(static_cast<int>(begin), source - 1);
        coverage.last = std::clamp(static_cast<int>(std::ceil(end)) - 1, coverage.first, source - 1);
        coverage.firstWeight = static_cast<float>(std::min(coverage.first + 1.0, end) - begin);
        coverage.lastWeight = static_cast<float>(end - coverage.last);
    }
    return result;
}

/// Scales pictures of one form. Sums are kept premultiplied, so that the colour of invisible pixels does not bleed.
template <typename Component, int count, bool hasAlpha>
class Scaler {
public:
    Scaler(const RasterImage& source, RasterImage& target)
        : m_source(source)
        , m_target(target)
        , m_columns(coverages(source.width, target.width))
        , m_sums(static_cast<std::size_t>(target.width) * count)
    {
    }

    void scale()
    {
        const std::vector<Coverage> rows = coverages(m_source.height, m_target.height);
        const float area = static_cast<float>(static_cast<double>(m_source.width) / m_target.width * m_source.height
                                              / m_target.height);
        for (int y = 0; y < m_target.height; ++y) {
            const Coverage& coverage = rows[static_cast<std::size_t>(y)];
            std::fill(m_sums.begin(), m_sums.end(), 0.0F);
            for (int row = coverage.first; row <= coverage.last; ++row)
                addRow(row, coverage.weightOf(row));
            putRow(y, area);
        }
    }

private:
    static constexpr float largest = std::numeric_limits<Component>::max();

    void addRow(int row, float weight)
    {
        const std::byte* const pixels = m_source.row(row).data();
        float* sums = m_sums.data();
        for (const Coverage& column : m_columns) {
            float pixel[count] = {};
            for (int x = column.first; x <= column.last; ++x)
                addPixel(pixels + static_cast<std::size_t>(x) * count * sizeof(Component), column.weightOf(x), pixel);
            for (int index = 0; index < count; ++index)
                *sums++ += pixel[index] * weight;
        }
    }

    static void addPixel(const std::byte* place, float weight, float* sums)
    {
        Component components[count];
        std::memcpy(components, place, sizeof components);
        if constexpr (hasAlpha) {
            sums[count - 1] += static_cast<float>(components[count - 1]) * weight;
            weight *= static_cast<float>(components[count - 1]) / largest;
        }
        for (int index = 0; index < count - (hasAlpha ? 1 : 0); ++index)
            sums[index] += static_cast<float>(components[index]) * weight;
    }

    void putRow(int y, float area)
    {
        std::byte* place = m_target.row(y).data();
        for (std::size_t first = 0; first < m_sums.size(); first += count) {
            const float* const sums = m_sums.data() + first;
            const float covered = hasAlpha ? sums[count - 1] / largest : area;
            Component components[count];
            for (int index = 0; index < count; ++index) {
                const bool isAlpha = hasAlpha && index == count - 1;
                const float divisor = isAlpha ? area : covered;
                const float value = divisor > 0 ? sums[index] / divisor : 0;
                components[index] = static_cast<Component>(std::clamp(value + 0.5F, 0.0F, largest));
            }
            std::memcpy(place, components, sizeof components);
            place += sizeof components;
        }
    }

    const RasterImage& m_source;
    RasterImage& m_target;
    std::vector<Coverage> m_columns;
    std::vector<float> m_sums; ///< of the row being made
};

template <typename Component>
void scaleComponents(const RasterImage& source, RasterImage& target)
{
    switch (source.componentCount()) {
    case 1:
        return Scaler<Component, 1, false>(source, target).scale();
    case 2:
        return Scaler<Component, 2, true>(source, target).scale();
    case 3:
        return Scaler<Component, 3, false>(source, target).scale();
    case 4:
        return source.hasAlpha ? Scaler<Component, 4, true>(source, target).scale()
                               : Scaler<Component, 4, false>(source, target).scale();
    }
    throw std::runtime_error("a pixel of unknown form");
}

} // namespace

RasterImage scaledDown(const RasterImage& image, int width, int height)
{
    std::optional<RasterImage> target =
        RasterImage::make(std::clamp(width, 1, image.width), std::clamp(height, 1, image.height), image.model,
                          image.hasAlpha, image.bitsPerComponent);
    if (!target)
        throw std::runtime_error("the picture is too large");
    target->iccProfile = image.iccProfile;
    if (image.bitsPerComponent == 16)
        scaleComponents<std::uint16_t>(image, *target);
    else
        scaleComponents<std::uint8_t>(image, *target);
    return std::move(*target);
}

SharedImage fittedInto(const SharedImage& image, double maxPixels)
{
    const double scale = maxPixels / std::max(image->width, image->height);
    if (!(scale < 1))
        return image;
    try {
        return std::make_shared<const RasterImage>(
            scaledDown(*image, static_cast<int>(std::max(1.0, std::round(scale * image->width))),
                       static_cast<int>(std::max(1.0, std::round(scale * image->height)))));
    } catch (const std::exception&) {
        return nullptr;
    }
}

} // namespace Pelgra
