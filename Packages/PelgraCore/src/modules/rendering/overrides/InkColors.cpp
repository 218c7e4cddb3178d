#include "modules/rendering/MuPDFVersion.h"
#include "Override.h"
#include "ProfileColors.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include <mupdf/fitz.h>

/// Debian builds MuPDF without colour management: amounts of ink become colours by subtraction, which looks like no
/// print. These functions stand between the part that decides what is converted and the conversion.
/// Made for MuPDF 1.21 and 1.25, whose converters begin as Pelgra::Rendering::ConverterStart.
struct fz_color_converter;
using InkConversion = void(fz_context*, fz_color_converter*, const float*, float*);
using LookupConversion = InkConversion*(fz_context*, fz_colorspace* from, fz_colorspace* to);
using ConvertSamples = void(fz_context*, const fz_pixmap* from, fz_pixmap* to, int copySpots);
PELGRA_DECLARE_OVERRIDE(fz_lookup_fast_color_converter, LookupConversion)
PELGRA_DECLARE_OVERRIDE(fz_convert_fast_pixmap_samples, ConvertSamples)

namespace {

using Color = std::array<float, 3>;
constexpr std::size_t inkCount = 4;
constexpr float full = 255;

/// What full inks printed over each other look like in offset printing on coated paper, by the American standard
/// (SWOP), in 8-bit sRGB. The bits of the index stand for cyan, magenta, yellow and black from the lowest. Between
/// them, colours are mixed by the share of the paper that each overprint covers (Neugebauer's equations).
constexpr std::array<Color, 1U << inkCount> overprints = {{
    {255, 255, 255},
    {0, 174, 239},
    {236, 0, 140},
    {46, 48, 146},
    {255, 242, 0},
    {0, 166, 80},
    {237, 28, 36},
    {54, 54, 57},
    {35, 31, 32},
    {0, 14, 35},
    {35, 0, 0},
    {0, 0, 1},
    {27, 26, 0},
    {0, 18, 0},
    {34, 0, 0},
    {0, 0, 0},
}};

/// The colour of amounts of ink from 0 to 1, in 8-bit sRGB with fractions.
Color colorOf(const std::array<float, inkCount>& inks)
{
    std::array<Color, overprints.size()> colors = overprints;
    std::size_t count = colors.size();
    for (std::size_t ink = inkCount; ink-- > 0;) {
        count /= 2;
        for (std::size_t index = 0; index < count; ++index) {
            for (std::size_t part = 0; part < 3; ++part)
                colors[index][part] += (colors[index + count][part] - colors[index][part]) * inks[ink];
        }
    }
    return colors[0];
}

void convertInks(fz_context*, fz_color_converter*, const float* from, float* to)
{
    std::array<float, inkCount> inks{};
    for (std::size_t ink = 0; ink < inkCount; ++ink)
        inks[ink] = std::clamp(from[ink], 0.0F, 1.0F);
    const Color color = colorOf(inks);
    std::transform(color.begin(), color.end(), to, [](float part) { return part / full; });
}

/// Converts pixels of four inks; with alpha, both sides are premultiplied.
class PixelConversion {
public:
    std::array<unsigned char, 3> operator()(const unsigned char* inks, unsigned alpha)
    {
        std::uint32_t value = 0;
        std::memcpy(&value, inks, sizeof value);
        if (m_isUsed && value == m_value && alpha == m_alpha)
            return m_result; // as in most neighbours
        m_isUsed = true;
        m_value = value;
        m_alpha = alpha;
        std::array<float, inkCount> amounts{};
        for (std::size_t ink = 0; ink < inkCount && alpha > 0; ++ink)
            amounts[ink] = std::min(static_cast<float>(inks[ink]) / static_cast<float>(alpha), 1.0F);
        const Color color = colorOf(amounts);
        std::transform(color.begin(), color.end(), m_result.begin(), [alpha](float part) {
            return static_cast<unsigned char>(std::lround(part * static_cast<float>(alpha) / full));
        });
        return m_result;
    }

private:
    bool m_isUsed = false;
    std::uint32_t m_value = 0;
    unsigned m_alpha = 0;
    std::array<unsigned char, 3> m_result{};
};

void convertPixels(const fz_pixmap& from, fz_pixmap& to)
{
    PixelConversion convert;
    for (int y = 0; y < from.h; ++y) {
        const unsigned char* in = from.samples + y * from.stride;
        unsigned char* out = to.samples + y * to.stride;
        for (int x = 0; x < from.w; ++x, in += from.n, out += to.n) {
            const unsigned alpha = from.alpha ? in[from.n - 1] : 255U;
            const auto rgb = convert(in, alpha);
            std::copy(rgb.begin(), rgb.end(), out);
            if (to.alpha)
                out[to.n - 1] = static_cast<unsigned char>(alpha);
        }
    }
}

bool isFromInkToScreen(const fz_colorspace* from, const fz_colorspace* to)
{
    return from && to && from->type == FZ_COLORSPACE_CMYK && to->type == FZ_COLORSPACE_RGB;
}

bool isFromProfile(const fz_colorspace* from, const fz_colorspace* to)
{
    using Pelgra::Rendering::hasProfile;
    return to && hasProfile(from) && !hasProfile(to)
        && (to->type == FZ_COLORSPACE_RGB || to->type == FZ_COLORSPACE_GRAY);
}

void convertFromProfile(fz_context*, fz_color_converter* converter, const float* from, float* to)
{
    const auto& spaces = *reinterpret_cast<const Pelgra::Rendering::ConverterStart*>(converter);
    Color color{};
    if (const auto conversion = Pelgra::Rendering::conversionOf(spaces.from))
        conversion->convertColor(from, color.data());
    if (spaces.to->type == FZ_COLORSPACE_GRAY)
        to[0] = color[0] * 0.3F + color[1] * 0.59F + color[2] * 0.11F; // as the library weighs them
    else
        std::copy(color.begin(), color.end(), to);
}

} // namespace

InkConversion* PELGRA_OVERRIDE(fz_lookup_fast_color_converter)(fz_context* context, fz_colorspace* from,
                                                               fz_colorspace* to)
{
    if (isFromProfile(from, to))
        return convertFromProfile;
    if (isFromInkToScreen(from, to))
        return convertInks;
    return PELGRA_OVERRIDDEN(fz_lookup_fast_color_converter)(context, from, to);
}

void PELGRA_OVERRIDE(fz_convert_fast_pixmap_samples)(fz_context* context, const fz_pixmap* from, fz_pixmap* to,
                                                     int copySpots)
{
    const bool isPlain = from->s == 0 && to->s == 0 && from->w == to->w && from->h == to->h;
    if (isPlain && isFromProfile(from->colorspace, to->colorspace)
        && Pelgra::Rendering::convertProfilePixels(*from, *to))
        return;
    if (isPlain && isFromInkToScreen(from->colorspace, to->colorspace))
        convertPixels(*from, *to);
    else
        PELGRA_OVERRIDDEN(fz_convert_fast_pixmap_samples)(context, from, to, copySpots);
}
