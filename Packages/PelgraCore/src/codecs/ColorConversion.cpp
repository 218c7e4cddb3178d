#include "codecs/ColorConversion.h"

#include "codecs/IccProfiles.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <stdexcept>
#include <type_traits>
#include <utility>

namespace Pelgra {

namespace {

// Contexts of their own keep the library silent and its state out of other threads.
struct ContextDeleter {
    void operator()(cmsContext context) const { cmsDeleteContext(context); }
};
using Context = std::unique_ptr<std::remove_pointer_t<cmsContext>, ContextDeleter>;

/// To sRGB or its grey, in place. Null where the profile cannot be used.
ColorTransform transformToSrgb(cmsContext context, const RasterImage& image)
{
    if (!profileFits(image.iccProfile, image.model))
        return nullptr;
    const IccProfile source(cmsOpenProfileFromMemTHR(context, image.iccProfile.data(),
                                                     static_cast<cmsUInt32Number>(image.iccProfile.size())));
    const bool isGray = image.model == ColorModel::gray;
    const ToneCurve curve = srgbToneCurve();
    const IccProfile target(isGray ? cmsCreateGrayProfileTHR(context, cmsD50_xyY(), curve.get())
                                   : cmsCreate_sRGBProfileTHR(context));
    if (!source || !target || !curve)
        return nullptr;
    const bool isDeep = image.bitsPerComponent == 16;
    const auto layout = COLORSPACE_SH(static_cast<cmsUInt32Number>(isGray ? PT_GRAY : PT_RGB))
        | CHANNELS_SH(isGray ? 1U : 3U) | EXTRA_SH(image.hasAlpha ? 1U : 0U) | BYTES_SH(isDeep ? 2U : 1U);
    // Alpha is in place already.
    return ColorTransform(cmsCreateTransformTHR(context, source.get(), layout, target.get(), layout,
                                                INTENT_RELATIVE_COLORIMETRIC, cmsFLAGS_NOCACHE));
}

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
void convertPlainly(const std::byte* from, std::byte* to, int pixels)
{
    constexpr std::uint32_t largest = std::numeric_limits<Component>::max();
    for (int x = 0; x < pixels; ++x, from += 4 * sizeof(Component), to += 3 * sizeof(Component)) {
        Component inks[4];
        std::memcpy(inks, from, sizeof inks);
        Component light[3];
        for (int index = 0; index < 3; ++index)
            light[index] = static_cast<Component>(
                (std::uint64_t{largest - inks[index]} * (largest - inks[3]) + largest / 2) / largest);
        std::memcpy(to, light, sizeof light);
    }
}

} // namespace

class CmykRowsInSrgb::Conversion {
public:
    explicit Conversion(const RasterImage& image)
        : m_context(cmsCreateContext(nullptr, nullptr))
        , m_isDeep(image.bitsPerComponent == 16)
        , m_transform(makeTransform(m_context.get(), image.iccProfile, m_isDeep))
    {
    }

    void convert(const std::byte* from, std::byte* to, int pixels) const
    {
        if (m_transform)
            cmsDoTransform(m_transform.get(), from, to, static_cast<cmsUInt32Number>(pixels));
        else if (m_isDeep)
            convertPlainly<std::uint16_t>(from, to, pixels);
        else
            convertPlainly<std::uint8_t>(from, to, pixels);
    }

private:
    Context m_context; // outlives what was made in it
    bool m_isDeep;
    ColorTransform m_transform;
};

CmykRowsInSrgb::CmykRowsInSrgb(SharedImage image)
    : m_image(std::move(image))
    , m_form{m_image->width, m_image->height, ColorModel::rgb, false, m_image->bitsPerComponent, {}}
    , m_conversion(std::make_unique<Conversion>(*m_image))
{
    m_row.resize(m_form.rowBytes());
}

CmykRowsInSrgb::~CmykRowsInSrgb() = default;

std::span<const std::byte> CmykRowsInSrgb::row(int y)
{
    m_conversion->convert(m_image->row(y).data(), m_row.data(), m_form.width);
    return m_row;
}

void CmykRowsInSrgb::release()
{
    m_image.reset();
}

RasterImage cmykToSrgb(const RasterImage& image)
{
    std::optional<RasterImage> result =
        RasterImage::make(image.width, image.height, ColorModel::rgb, false, image.bitsPerComponent);
    if (!result)
        throw std::runtime_error("the picture is too large");
    // It is kept by the caller.
    CmykRowsInSrgb rows(SharedImage(SharedImage(), &image));
    for (int y = 0; y < image.height; ++y)
        std::ranges::copy(rows.row(y), result->row(y).begin());
    return std::move(*result);
}

RasterImage inSrgb(RasterImage image)
{
    const Context context(cmsCreateContext(nullptr, nullptr));
    if (const ColorTransform transform = transformToSrgb(context.get(), image)) {
        for (int y = 0; y < image.height; ++y)
            cmsDoTransform(transform.get(), image.row(y).data(), image.row(y).data(),
                           static_cast<cmsUInt32Number>(image.width));
    }
    image.iccProfile.clear();
    return image;
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
