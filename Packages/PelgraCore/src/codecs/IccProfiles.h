#pragma once

#include "PelgraCore/RasterImage.h"

#include <array>
#include <memory>

#include <lcms2.h>

/// What is shared by those who make ICC profiles with Little CMS or convert colours by them.
namespace Pelgra {

struct IccProfileDeleter {
    void operator()(cmsHPROFILE profile) const { cmsCloseProfile(profile); }
};
struct ToneCurveDeleter {
    void operator()(cmsToneCurve* curve) const { cmsFreeToneCurve(curve); }
};
struct ColorTransformDeleter {
    void operator()(cmsHTRANSFORM transform) const { cmsDeleteTransform(transform); }
};
using IccProfile = std::unique_ptr<void, IccProfileDeleter>;
using ToneCurve = std::unique_ptr<cmsToneCurve, ToneCurveDeleter>;
using ColorTransform = std::unique_ptr<void, ColorTransformDeleter>;

/// The curve of sRGB (IEC 61966-2-1); null when memory ran out.
inline ToneCurve srgbToneCurve()
{
    constexpr std::array<double, 5> parameters{2.4, 1 / 1.055, 0.055 / 1.055, 1 / 12.92, 0.04045};
    constexpr int curveWithLinearStart = 4;
    return ToneCurve(cmsBuildParametricToneCurve(nullptr, curveWithLinearStart, parameters.data()));
}

/// An RGB profile with one curve for all components; null where the chromaticities make none.
inline IccProfile rgbProfile(const cmsCIExyY& white, const cmsCIExyYTRIPLE& primaries, cmsToneCurve* curve)
{
    const std::array<cmsToneCurve*, 3> curves{curve, curve, curve};
    return IccProfile(cmsCreateRGBProfile(&white, &primaries, curves.data()));
}

/// The bytes of a profile; none for null and when it cannot be written.
inline Bytes bytesOf(const IccProfile& profile)
{
    cmsUInt32Number size = 0;
    if (!profile || !cmsSaveProfileToMem(profile.get(), nullptr, &size))
        return {};
    Bytes bytes(size);
    return cmsSaveProfileToMem(profile.get(), bytes.data(), &size) ? bytes : Bytes();
}

} // namespace Pelgra
