#include "HeifPixels.h"

#include "codecs/DecodedImage.h"
#include "parallel/InParallel.h"
#include "parallel/WorkerCount.h"
#include "pixels/StraightAlpha.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <type_traits>
#include <vector>

namespace Pelgra {

namespace {

/// One component of the coded picture.
struct Plane {
    const std::uint8_t* data = nullptr;
    std::size_t stride = 0;
    int width = 0;
    int height = 0;
    int depth = 8; ///< bits; more than 8 are stored in 16, in the machine's byte order
};

Plane planeOf(const heif_image& image, heif_channel channel)
{
    Plane plane;
    int stride = 0;
    plane.data = heif_image_get_plane_readonly(&image, channel, &stride);
    plane.stride = static_cast<std::size_t>(stride);
    plane.width = heif_image_get_width(&image, channel);
    plane.height = heif_image_get_height(&image, channel);
    plane.depth = heif_image_get_bits_per_pixel_range(&image, channel);
    if (!plane.data || stride <= 0 || plane.width < 1 || plane.height < 1 || plane.depth < 8 || plane.depth > 16)
        throw DecodeError("a colour plane is missing");
    return plane;
}

/// The weights of red and blue in the luma (ITU-T H.273, table 4).
struct LumaWeights {
    double red;
    double blue;
};

LumaWeights weightsOf(int matrix, int primaries)
{
    constexpr LumaWeights bt601{0.299, 0.114};
    constexpr LumaWeights bt709{0.2126, 0.0722};
    constexpr LumaWeights bt2020{0.2627, 0.0593};
    switch (matrix) {
    case 1:
        return bt709;
    case 4:
        return {0.30, 0.11};
    case 7:
        return {0.212, 0.087};
    case 9:
    case 10:
        return bt2020;
    case 12: // derived from the primaries
    case 13:
        return primaries == 1 ? bt709 : primaries == 9 ? bt2020 : primaries == 12 ? LumaWeights{0.2290, 0.0793} : bt601;
    default:
        return bt601;
    }
}

/// Converts samples of luma and colour difference, held in the given type, to red, green and blue of the same type.
template <typename Sample>
struct ColorMatrix {
    static constexpr int maximum = std::numeric_limits<Sample>::max();
    /// Wide enough for every sum.
    using Number = std::conditional_t<sizeof(Sample) == 1, std::int32_t, std::int64_t>;

    /// In units of 1/65536 of an output step.
    Number luma = 0, lumaOffset = 0, chromaOffset = 0, redCr = 0, greenCb = 0, greenCr = 0, blueCb = 0;

    static ColorMatrix make(const heif_color_profile_nclx* codes, int depth)
    {
        const bool fullRange = !codes || codes->full_range_flag != 0;
        const LumaWeights weights =
            weightsOf(codes ? codes->matrix_coefficients : 6, codes ? codes->color_primaries : 1);
        const double steps = std::ldexp(1.0, depth - 8);
        const double coded = std::ldexp(1.0, depth) - 1;
        const double lumaScale = maximum / (fullRange ? coded : 219 * steps);
        const double chromaScale = maximum / (fullRange ? coded : 224 * steps);
        const double green = 1 - weights.red - weights.blue;
        const auto fixed = [](double value) {
            return static_cast<Number>(std::llround(value * 65536));
        };
        ColorMatrix matrix;
        matrix.luma = fixed(lumaScale);
        matrix.lumaOffset = fullRange ? 0 : static_cast<Number>(16 * steps);
        matrix.chromaOffset = Number{1} << (depth - 1);
        matrix.redCr = fixed(2 * (1 - weights.red) * chromaScale);
        matrix.blueCb = fixed(2 * (1 - weights.blue) * chromaScale);
        matrix.greenCr = fixed(-2 * (1 - weights.red) * weights.red / green * chromaScale);
        matrix.greenCb = fixed(-2 * (1 - weights.blue) * weights.blue / green * chromaScale);
        return matrix;
    }

    /// Whether plain samples stay what they are.
    bool isIdentity() const { return luma == 65536 && lumaOffset == 0; }

    Sample clamped(Number value) const
    {
        return static_cast<Sample>(std::clamp<Number>((value + 32768) >> 16, 0, maximum));
    }
};

/// What one conversion works on.
template <typename Sample>
struct Conversion {
    std::vector<Plane> colors; ///< one plane for grey, else three
    bool isDifference = false; ///< luma and colour differences rather than red, green, blue
    bool isGreenBlueRed = false;
    ColorMatrix<Sample> matrix;
    RasterImage* out = nullptr;
};

template <typename Sample>
Sample sampleAt(const std::uint8_t* row, int x)
{
    Sample sample = 0;
    std::memcpy(&sample, row + static_cast<std::size_t>(x) * sizeof sample, sizeof sample);
    return sample;
}

const std::uint8_t* rowFor(const Plane& plane, int y, int height)
{
    const int row = plane.height == height
        ? y
        : std::min(static_cast<int>(std::int64_t{y} * plane.height / height), plane.height - 1);
    return plane.data + plane.stride * static_cast<std::size_t>(row);
}

/// Luma and colour differences of one row, one difference for every `columns` pixels.
template <typename Sample, int columns>
void mixRow(const ColorMatrix<Sample>& matrix, const std::uint8_t* luma, const std::uint8_t* cbRow,
            const std::uint8_t* crRow, int width, std::byte* to, std::size_t step)
{
    using Number = typename ColorMatrix<Sample>::Number;
    for (int x = 0; x < width; x += columns) {
        const Number cb = sampleAt<Sample>(cbRow, x / columns) - matrix.chromaOffset;
        const Number cr = sampleAt<Sample>(crRow, x / columns) - matrix.chromaOffset;
        const Number red = cr * matrix.redCr, blue = cb * matrix.blueCb;
        const Number green = cb * matrix.greenCb + cr * matrix.greenCr;
        const int count = std::min(columns, width - x);
        for (int index = 0; index < count; ++index, to += step) {
            const Number light = (sampleAt<Sample>(luma, x + index) - matrix.lumaOffset) * matrix.luma;
            const std::array<Sample, 3> color{matrix.clamped(light + red), matrix.clamped(light + green),
                                              matrix.clamped(light + blue)};
            std::memcpy(to, color.data(), sizeof color);
        }
    }
}

/// Halved colour is repeated, as the format's reference reader does.
template <typename Sample>
void convertDifferenceRow(const Conversion<Sample>& conversion, int y, std::byte* to, std::size_t step)
{
    const int height = conversion.out->height;
    const int width = conversion.out->width;
    const Plane& chroma = conversion.colors[1];
    const std::uint8_t* const luma = rowFor(conversion.colors[0], y, height);
    // Odd sizes: half of 5 is 3, and row 4 belongs to row 2 of the halved plane.
    const int verticalShift = chroma.height < height ? 1 : 0;
    const auto chromaRow = static_cast<std::size_t>(std::min(y >> verticalShift, chroma.height - 1));
    const std::uint8_t* const cbRow = chroma.data + chroma.stride * chromaRow;
    const std::uint8_t* const crRow = conversion.colors[2].data + conversion.colors[2].stride * chromaRow;
    if (chroma.width < width)
        mixRow<Sample, 2>(conversion.matrix, luma, cbRow, crRow, width, to, step);
    else
        mixRow<Sample, 1>(conversion.matrix, luma, cbRow, crRow, width, to, step);
}

/// Planes that hold the output's components already, each only scaled.
template <typename Sample>
void convertPlainRow(const Conversion<Sample>& conversion, int y, std::byte* to, std::size_t step)
{
    constexpr std::array<std::size_t, 3> greenBlueRed{2, 0, 1};
    const ColorMatrix<Sample>& matrix = conversion.matrix;
    const bool isIdentity = matrix.isIdentity();
    for (std::size_t component = 0; component < conversion.colors.size(); ++component) {
        const Plane& plane = conversion.colors[conversion.isGreenBlueRed ? greenBlueRed[component] : component];
        const std::uint8_t* const row = rowFor(plane, y, conversion.out->height);
        std::byte* place = to + component * sizeof(Sample);
        for (int x = 0; x < conversion.out->width; ++x, place += step) {
            const Sample coded = sampleAt<Sample>(row, x);
            const Sample value = isIdentity ? coded : matrix.clamped((coded - matrix.lumaOffset) * matrix.luma);
            std::memcpy(place, &value, sizeof value);
        }
    }
}

template <typename Sample>
void convertRows(const Conversion<Sample>& conversion, int from, int to)
{
    for (int y = from; y < to; ++y) {
        std::byte* const row = conversion.out->row(y).data();
        if (conversion.isDifference)
            convertDifferenceRow(conversion, y, row, conversion.out->bytesPerPixel());
        else
            convertPlainRow(conversion, y, row, conversion.out->bytesPerPixel());
    }
}

/// Fills in the alpha component; a plane of another size is stretched.
template <typename In, typename Out>
void convertAlpha(const Plane& plane, RasterImage& out)
{
    const std::uint64_t coded = (1u << plane.depth) - 1;
    const std::uint64_t maximum = sizeof(Out) == 1 ? 255 : 65535;
    const std::size_t step = out.bytesPerPixel();
    for (int y = 0; y < out.height; ++y) {
        const std::uint8_t* const row = rowFor(plane, y, out.height);
        std::byte* to = out.row(y).data() + step - sizeof(Out);
        for (int x = 0; x < out.width; ++x, to += step) {
            const int column =
                plane.width == out.width ? x : static_cast<int>(std::int64_t{x} * plane.width / out.width);
            const auto value = static_cast<Out>((sampleAt<In>(row, column) * maximum + coded / 2) / coded);
            std::memcpy(to, &value, sizeof value);
        }
    }
}

/// Rows are independent of one another, so every core takes a band.
template <typename Sample>
void convertInBands(const Conversion<Sample>& conversion, int threads)
{
    const int height = conversion.out->height;
    constexpr int smallestBand = 256;
    const int bands = std::clamp(height / smallestBand, 1, std::min(workerCount(), threads));
    inParallel(bands, bands, {},
               [&](int band) { convertRows(conversion, height * band / bands, height * (band + 1) / bands); });
}

std::vector<Plane> colorPlanes(const heif_image& image, heif_colorspace space)
{
    // The library adds further ones from version to version.
    if (space == heif_colorspace_monochrome)
        return {planeOf(image, heif_channel_Y)};
    if (space == heif_colorspace_YCbCr)
        return {planeOf(image, heif_channel_Y), planeOf(image, heif_channel_Cb), planeOf(image, heif_channel_Cr)};
    if (space == heif_colorspace_RGB)
        return {planeOf(image, heif_channel_R), planeOf(image, heif_channel_G), planeOf(image, heif_channel_B)};
    throw DecodeError("an unknown colour model");
}

/// Checks that every row of every plane can be read at the places the conversion looks at.
void checkPlanes(const std::vector<Plane>& planes, bool isDifference)
{
    for (const Plane& plane : planes) {
        const std::size_t bytes = plane.depth > 8 ? 2 : 1;
        if (plane.depth != planes.front().depth || plane.stride < static_cast<std::size_t>(plane.width) * bytes)
            throw DecodeError("colour planes do not fit together");
        const int least = isDifference ? (planes.front().width + 1) / 2 : planes.front().width;
        if (plane.width < least || (isDifference && plane.height < (planes.front().height + 1) / 2))
            throw DecodeError("a colour plane is too small");
    }
    if (planes.size() == 3 && (planes[1].width != planes[2].width || planes[1].height != planes[2].height))
        throw DecodeError("colour planes differ in size");
}

/// The identity matrix: the planes hold green, blue, red.
bool isGreenBlueRed(heif_colorspace space, const heif_color_profile_nclx* codes)
{
    return space == heif_colorspace_YCbCr && codes && codes->matrix_coefficients == 0;
}

template <typename Sample>
void convertColors(const std::vector<Plane>& planes, heif_colorspace space, const heif_color_profile_nclx* codes,
                   RasterImage& out, int threads)
{
    Conversion<Sample> conversion;
    conversion.colors = planes;
    conversion.isGreenBlueRed = isGreenBlueRed(space, codes);
    conversion.isDifference = space == heif_colorspace_YCbCr && !conversion.isGreenBlueRed;
    conversion.matrix = ColorMatrix<Sample>::make(space == heif_colorspace_RGB ? nullptr : codes, planes.front().depth);
    conversion.out = &out;
    convertInBands(conversion, threads);
}

} // namespace

RasterImage pixelsOf(const heif_image& image, bool isPremultiplied, int threads,
                     const heif_color_profile_nclx* givenCodes)
{
    const heif_colorspace space = heif_image_get_colorspace(&image);
    heif_color_profile_nclx* ownCodes = nullptr;
    if (heif_image_get_nclx_color_profile(&image, &ownCodes).code != heif_error_Ok)
        ownCodes = nullptr;
    const HeifColorCodes codesOwner(ownCodes);
    const heif_color_profile_nclx* const codes = givenCodes ? givenCodes : ownCodes;

    const std::vector<Plane> planes = colorPlanes(image, space);
    checkPlanes(planes, space == heif_colorspace_YCbCr && !isGreenBlueRed(space, codes));
    const Plane& first = planes.front();
    const bool isDeep = first.depth > 8;
    const bool hasAlpha = heif_image_has_channel(&image, heif_channel_Alpha) != 0;
    std::optional<RasterImage> out = RasterImage::make(
        first.width, first.height, space == heif_colorspace_monochrome ? ColorModel::gray : ColorModel::rgb, hasAlpha,
        isDeep ? 16 : 8);
    if (!out)
        throw DecodeError("the picture is too large");
    if (isDeep)
        convertColors<std::uint16_t>(planes, space, codes, *out, threads);
    else
        convertColors<std::uint8_t>(planes, space, codes, *out, threads);
    if (hasAlpha) {
        const Plane alpha = planeOf(image, heif_channel_Alpha);
        checkPlanes({alpha}, false);
        if (isDeep)
            (alpha.depth > 8 ? convertAlpha<std::uint16_t, std::uint16_t>
                             : convertAlpha<std::uint8_t, std::uint16_t>)(alpha, *out);
        else
            (alpha.depth > 8 ? convertAlpha<std::uint16_t, std::uint8_t>
                             : convertAlpha<std::uint8_t, std::uint8_t>)(alpha, *out);
        if (isPremultiplied)
            makeAlphaStraight(*out);
    }
    return std::move(*out);
}

} // namespace Pelgra
