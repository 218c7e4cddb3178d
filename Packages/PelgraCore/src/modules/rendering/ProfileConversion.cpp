#include "ProfileConversion.h"

#include "codecs/IccProfiles.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdlib>

namespace Pelgra::Rendering {

namespace {

/// No profile of a printer or camera is larger.
constexpr std::size_t largestProfile = std::size_t{16} << 20;
/// Differences of 8-bit components that are not worth the conversion: profiles called sRGB vary.
constexpr int visibleDifference = 10;
constexpr int stepsPerComponent = 5;

struct Layout {
    int components;
    cmsColorSpaceSignature space;
    cmsUInt32Number pixels; ///< of 8 bits
    cmsUInt32Number deepPixels; ///< of 16 bits
};
constexpr Layout layouts[] = {{1, cmsSigGrayData, TYPE_GRAY_8, TYPE_GRAY_16},
                              {3, cmsSigRgbData, TYPE_RGB_8, TYPE_RGB_16},
                              {4, cmsSigCmykData, TYPE_CMYK_8, TYPE_CMYK_16}};

class LcmsConversion final : public ProfileConversion {
public:
    LcmsConversion(ColorTransform pixels, ColorTransform deepPixels, int components)
        : m_pixels(std::move(pixels))
        , m_deepPixels(std::move(deepPixels))
        , m_components(components)
    {
    }

    void convertColor(const float* from, float* rgb) const override
    {
        constexpr float full = 65535;
        std::array<std::uint16_t, 4> in{};
        std::array<std::uint16_t, 3> out{};
        for (int index = 0; index < m_components; ++index)
            in[static_cast<std::size_t>(index)] =
                static_cast<std::uint16_t>(std::lround(std::clamp(from[index], 0.0F, 1.0F) * full));
        cmsDoTransform(m_deepPixels.get(), in.data(), out.data(), 1);
        std::ranges::transform(out, rgb, [](std::uint16_t part) { return static_cast<float>(part) / full; });
    }

    void convertPixels(const unsigned char* from, unsigned char* rgb, int count) const override
    {
        cmsDoTransform(m_pixels.get(), from, rgb, static_cast<cmsUInt32Number>(count));
    }

private:
    ColorTransform m_pixels;
    ColorTransform m_deepPixels;
    int m_components;
};

/// Whether some colour is far from the device's with the same components. Ink has no such device.
bool isVisible(cmsHTRANSFORM toSrgb, int components)
{
    if (components == 4)
        return true;
    const int others = components == 3 ? stepsPerComponent : 1;
    for (int index = 0; index < stepsPerComponent * others * others; ++index) {
        std::array<unsigned char, 3> in{};
        int rest = index;
        for (std::size_t component = 0; component < in.size(); ++component, rest /= stepsPerComponent)
            in[component] = static_cast<unsigned char>(rest % stepsPerComponent * 255 / (stepsPerComponent - 1));
        if (components == 1)
            in.fill(in[0]);
        std::array<unsigned char, 3> out{};
        cmsDoTransform(toSrgb, in.data(), out.data(), 1);
        for (std::size_t component = 0; component < in.size(); ++component) {
            if (std::abs(in[component] - out[component]) > visibleDifference)
                return true;
        }
    }
    return false;
}

} // namespace

std::shared_ptr<const ProfileConversion> makeConversion(std::span<const unsigned char> profile, int components)
{
    const auto* const layout = std::ranges::find(layouts, components, &Layout::components);
    if (layout == std::end(layouts) || profile.size() > largestProfile)
        return nullptr;
    const IccProfile source(cmsOpenProfileFromMem(profile.data(), static_cast<cmsUInt32Number>(profile.size())));
    const IccProfile target(cmsCreate_sRGBProfile());
    if (!source || !target || cmsGetColorSpace(source.get()) != layout->space)
        return nullptr;
    const auto transform = [&](cmsUInt32Number from, cmsUInt32Number to, cmsUInt32Number flags) {
        return ColorTransform(cmsCreateTransform(source.get(), from, target.get(), to, INTENT_RELATIVE_COLORIMETRIC,
                                                 flags | cmsFLAGS_BLACKPOINTCOMPENSATION | cmsFLAGS_NOCACHE));
    };
    // Preparing for many pixels takes milliseconds, which most profiles are not worth.
    const ColorTransform quickly = transform(layout->pixels, TYPE_RGB_8, cmsFLAGS_NOOPTIMIZE);
    if (!quickly || !isVisible(quickly.get(), components))
        return nullptr;
    ColorTransform pixels = transform(layout->pixels, TYPE_RGB_8, 0);
    ColorTransform deepPixels = transform(layout->deepPixels, TYPE_RGB_16, cmsFLAGS_NOOPTIMIZE);
    if (!pixels || !deepPixels)
        return nullptr;
    return std::make_shared<const LcmsConversion>(std::move(pixels), std::move(deepPixels), components);
}

} // namespace Pelgra::Rendering
