#include "HeifProfile.h"

#include "codecs/IccProfiles.h"

#include <optional>

namespace Pelgra {

namespace {

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

ToneCurve toneCurve(int transfer)
{
    constexpr int linear = 8;
    // The high-dynamic-range codes get the curve of sRGB too: their pictures then look flat but complete.
    return transfer == linear ? ToneCurve(cmsBuildGamma(nullptr, 1.0)) : srgbToneCurve();
}

Bytes profileForCodes(const heif_color_profile_nclx& codes)
{
    const std::optional<Primaries> primaries = widePrimaries(codes.color_primaries);
    const ToneCurve curve = toneCurve(codes.transfer_characteristics);
    return primaries && curve ? bytesOf(rgbProfile(primaries->white, primaries->colors, curve.get())) : Bytes();
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
