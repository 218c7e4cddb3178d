#include "codecs/ColorConversion.h"

#include "codecs/IccProfiles.h"

#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <stdexcept>
#include <type_traits>

namespace Pelgra {

namespace {

// Contexts of their own keep the library silent and its state out of other threads.
struct ContextDeleter {
    void operator()(cmsContext context) const { cmsDeleteContext(context); }
};
using Context = std::unique_ptr<std::remove_pointer_t<cmsContext>, ContextDeleter>;

/// Null where the profile cannot be used.
ColorTransform makeTransform(cmsContext context, const Bytes& iccProfile, bool isDeep)
{
    if (!profileFits(iccProfile, ColorModel::cmyk))
        return nullptr;
    const IccProfile source(
        cmsOpenProfileFromMemTHR(context, iccProfile.data(), static_cast<cmsUInt32Number>(iccProfile.size())));
    const IccProfile target(cmsCreate_sRGBProfileTHR(context));
    if (!source || !target || cmsGetColorSpace(source.get()) != cmsSigCmykData)
        return nullptr;
    return ColorTransform(cmsCreateTransformTHR(context, source.get(), isDeep ? TYPE_CMYK_16 : TYPE_CMYK_8,
                                                target.get(), isDeep ? TYPE_RGB_16 : TYPE_RGB_8, INTENT_PERCEPTUAL,
                                                cmsFLAGS_NOCACHE));
}

template <typename Component>
void convertPlainly(const RasterImage& source, RasterImage& target)
{
    constexpr std::uint32_t largest = std::numeric_limits<Component>::max();
    for (int y = 0; y < source.height; ++y) {
        const std::byte* from = source.row(y).data();
        std::byte* to = target.row(y).data();
        for (int x = 0; x < source.width; ++x, from += 4 * sizeof(Component), to += 3 * sizeof(Component)) {
            Component inks[4];
            std::memcpy(inks, from, sizeof inks);
            Component light[3];
            for (int index = 0; index < 3; ++index)
                light[index] = static_cast<Component>(
                    (std::uint64_t{largest - inks[index]} * (largest - inks[3]) + largest / 2) / largest);
            std::memcpy(to, light, sizeof light);
        }
    }
}

} // namespace

RasterImage cmykToSrgb(const RasterImage& image)
{
    std::optional<RasterImage> result =
        RasterImage::make(image.width, image.height, ColorModel::rgb, false, image.bitsPerComponent);
    if (!result)
        throw std::runtime_error("the picture is too large");
    const bool isDeep = image.bitsPerComponent == 16;
    const Context context(cmsCreateContext(nullptr, nullptr));
    if (const ColorTransform transform = makeTransform(context.get(), image.iccProfile, isDeep)) {
        for (int y = 0; y < image.height; ++y)
            cmsDoTransform(transform.get(), image.row(y).data(), result->row(y).data(),
                           static_cast<cmsUInt32Number>(image.width));
    } else if (isDeep) {
        convertPlainly<std::uint16_t>(image, *result);
    } else {
        convertPlainly<std::uint8_t>(image, *result);
    }
    return std::move(*result);
}

bool profileFits(const Bytes& iccProfile, ColorModel model)
{
    // ICC.1, section 7.2: the colour space at byte 16, the file signature at byte 36 of a header of 128 bytes.
    constexpr std::size_t headerSize = 128;
    if (iccProfile.size() < headerSize || std::memcmp(iccProfile.data() + 36, "acsp", 4) != 0)
        return false;
    const char* const space = model == ColorModel::gray ? "GRAY" : model == ColorModel::rgb ? "RGB " : "CMYK";
    return std::memcmp(iccProfile.data() + 16, space, 4) == 0;
}

} // namespace Pelgra
