#include "codecs/png/PngColors.h"

#include "codecs/IccProfiles.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>

namespace Pelgra {

namespace {

using Chromaticities = std::array<double, 8>; ///< white, red, green, blue as x and y

constexpr Chromaticities srgb{0.3127, 0.3290, 0.64, 0.33, 0.30, 0.60, 0.15, 0.06};
constexpr double srgbGamma = 1 / 2.2;

/// Writers round, and some state what their screen was said to have; none of that is visible.
bool isAboutSrgb(double gamma)
{
    return std::abs(gamma - srgbGamma) < 0.02;
}

bool isAboutSrgb(const Chromaticities& values)
{
    return std::equal(values.begin(), values.end(), srgb.begin(),
                      [](double value, double wanted) { return std::abs(value - wanted) < 0.01; });
}

/// Twice the area of the triangle of the primaries; no real screen's is that small.
bool spanColors(const Chromaticities& values)
{
    const double area =
        (values[4] - values[2]) * (values[7] - values[3]) - (values[6] - values[2]) * (values[5] - values[3]);
    return std::abs(area) > 0.01;
}

/// The chromaticities of a file, or those of sRGB where it has no plausible ones.
Chromaticities usable(const std::optional<Chromaticities>& values)
{
    if (!values || !spanColors(*values))
        return srgb;
    const bool isPossible = std::all_of(values->begin(), values->end(), [](double value) { return value <= 1; });
    constexpr double darkest = 0.1; // what is divided by
    return isPossible && (*values)[1] >= darkest ? *values : srgb;
}

ToneCurve curveFor(double gamma)
{
    return isAboutSrgb(gamma) ? srgbToneCurve() : ToneCurve(cmsBuildGamma(nullptr, 1 / gamma));
}

IccProfile makeProfile(const Chromaticities& values, cmsToneCurve* curve, ColorModel model)
{
    const auto point = [&values](std::size_t index) {
        return cmsCIExyY{values[index], values[index + 1], 1};
    };
    const cmsCIExyY white = point(0);
    if (model == ColorModel::gray)
        return IccProfile(cmsCreateGrayProfile(&white, curve));
    return rgbProfile(white, {point(2), point(4), point(6)}, curve);
}

Bytes written(const IccProfile& profile)
{
    Bytes bytes = bytesOf(profile);
    // The library puts the present time there (ICC.1, 7.2.1); the same picture is to give the same bytes.
    constexpr std::array<unsigned char, 12> date{0x07, 0xD0, 0, 1, 0, 1};
    constexpr std::size_t dateStart = 24;
    if (bytes.size() < dateStart + date.size())
        return {};
    std::transform(date.begin(), date.end(), bytes.begin() + dateStart,
                   [](unsigned char byte) { return std::byte{byte}; });
    return bytes;
}

} // namespace

Bytes profileFromChunks(const PngProperties& properties, ColorModel model)
{
    if (!properties.iccProfile.empty() || properties.isSrgb)
        return {};
    const double stated = properties.gamma.value_or(srgbGamma);
    const double gamma = stated > 0.1 && stated < 10 ? stated : srgbGamma;
    const Chromaticities values = model == ColorModel::gray ? srgb : usable(properties.chromaticities);
    if (isAboutSrgb(gamma) && isAboutSrgb(values))
        return {};
    const ToneCurve curve = curveFor(gamma);
    return curve ? written(makeProfile(values, curve.get(), model)) : Bytes();
}

} // namespace Pelgra
