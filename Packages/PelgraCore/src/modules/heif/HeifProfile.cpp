#include "HeifProfile.h"

#include <array>
#include <memory>
#include <optional>

#include <lcms2.h>

namespace Pelgra {

namespace {

struct ProfileDeleter {
    void operator()(void* profile) const { cmsCloseProfile(profile); }
};
struct CurveDeleter {
    void operator()(cmsToneCurve* curve) const { cmsFreeToneCurve(curve); }
};

struct Primaries {
    cmsCIExyY white;
    cmsCIExyYTRIPLE colors;
};

/// The primaries with these codes that differ visibly from those of sRGB.
std::optional<Primaries> widePrimaries(int code)
{
    constexpr cmsCIExyY daylight{0.3127, 0.3290, 1};
    switch (code) {
    case 9: // BT.2020
        return Primaries{daylight, {{0.708, 0.292, 1}, {0.170, 0.797, 1}, {0.131, 0.046, 1}}};
    case 11: // cinema
        return Primaries{{0.314, 0.351, 1}, {{0.680, 0.320, 1}, {0.265, 0.690, 1}, {0.150, 0.060, 1}}};
    case 12: // displays
        return Primaries{daylight, {{0.680, 0.320, 1}, {0.265, 0.690, 1}, {0.150, 0.060, 1}}};
    default:
        return std::nullopt;
    }
}

std::unique_ptr<cmsToneCurve, CurveDeleter> toneCurve(int transfer)
{
    constexpr int linear = 8;
    if (transfer == linear)
        return std::unique_ptr<cmsToneCurve, CurveDeleter>(cmsBuildGamma(nullptr, 1.0));
    // The curve of sRGB. The high-dynamic-range codes get it too: their pictures then look flat but whole.
    constexpr std::array<double, 5> parameters{2.4, 1 / 1.055, 0.055 / 1.055, 1 / 12.92, 0.04045};
    constexpr int curveWithLinearStart = 4;
    return std::unique_ptr<cmsToneCurve, CurveDeleter>(
        cmsBuildParametricToneCurve(nullptr, curveWithLinearStart, parameters.data()));
}

Bytes profileForCodes(const heif_color_profile_nclx& codes)
{
    const std::optional<Primaries> primaries = widePrimaries(codes.color_primaries);
    const auto curve = toneCurve(codes.transfer_characteristics);
    if (!primaries || !curve)
        return {};
    const std::array<cmsToneCurve*, 3> curves{curve.get(), curve.get(), curve.get()};
    const std::unique_ptr<void, ProfileDeleter> profile(
        cmsCreateRGBProfile(&primaries->white, &primaries->colors, curves.data()));
    cmsUInt32Number size = 0;
    if (!profile || !cmsSaveProfileToMem(profile.get(), nullptr, &size))
        return {};
    Bytes bytes(size);
    return cmsSaveProfileToMem(profile.get(), bytes.data(), &size) ? bytes : Bytes();
}

} // namespace

Bytes profileOf(const heif_image_handle& handle, ColorModel model)
{
    Bytes profile(heif_image_handle_get_raw_color_profile_size(&handle));
    if (!profile.empty()) {
        if (heif_image_handle_get_raw_color_profile(&handle, profile.data()).code != heif_error_Ok)
            profile.clear();
        return profile;
    }
    heif_color_profile_nclx* codes = nullptr;
    if (model != ColorModel::rgb || heif_image_handle_get_nclx_color_profile(&handle, &codes).code != heif_error_Ok)
        return {};
    const HeifColorCodes owner(codes);
    return codes ? profileForCodes(*codes) : Bytes();
}

} // namespace Pelgra
