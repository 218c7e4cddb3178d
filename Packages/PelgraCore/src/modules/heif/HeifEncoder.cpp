#include "HeifEncoder.h"

#include "ExifStructure.h"
#include "HeifHandles.h"
#include "IptcAsXmp.h"
#include "MetadataBlocks.h"
#include "SampleDepth.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <exception>
#include <limits>
#include <vector>

namespace Pelgra {

namespace {

void check(const heif_error& error)
{
    checkHeif<std::runtime_error>(error);
}

double clampedQuality(double quality)
{
    return quality > 0 ? std::min(quality, 1.0) : 0.0;
}

/// The library's quality for ours. Its own scale gives files larger than a JPEG of the same number; measured for equal
/// fidelity, 0.9 is about 55. The last tenth covers the rest of the scale.
int encoderQuality(double quality)
{
    return static_cast<int>(std::lround(quality <= 0.9 ? 61 * quality : 54.9 + (quality - 0.9) * 451));
}

/// Bits of a coded sample.
int depthOf(const RasterForm& form)
{
    return form.bitsPerComponent == 16 ? 10 : 8;
}

/// A plane of the picture to be encoded, allocated by the library.
struct Plane {
    Plane(heif_image& image, heif_channel channel, int width, int height, int depth)
        : isDeep(depth > 8)
    {
        check(heif_image_add_plane(&image, channel, width, height, depth));
        int bytes = 0;
        data = heif_image_get_plane(&image, channel, &bytes);
        stride = static_cast<std::size_t>(bytes);
        if (!data)
            throw std::bad_alloc();
    }
    void set(int x, int y, std::uint32_t value) const
    {
        std::uint8_t* const row = data + stride * static_cast<std::size_t>(y);
        if (isDeep) {
            const auto sample = static_cast<std::uint16_t>(value);
            std::memcpy(row + 2 * static_cast<std::size_t>(x), &sample, 2);
        } else {
            row[x] = static_cast<std::uint8_t>(value);
        }
    }
    std::uint8_t* data = nullptr;
    std::size_t stride = 0;
    bool isDeep;
};

/// Samples of a row as numbers of the coded depth.
void loadRow(std::span<const std::byte> row, bool isDeep, std::vector<int>& samples)
{
    for (std::size_t index = 0; index < samples.size(); ++index) {
        if (!isDeep) {
            samples[index] = std::to_integer<int>(row[index]);
            continue;
        }
        std::uint16_t sample = 0;
        std::memcpy(&sample, row.data() + 2 * index, 2);
        samples[index] = static_cast<int>((std::uint32_t{sample} * 1023 + 32767) / 65535);
    }
}

/// Fills the planes of luma and colour difference (BT.601, full range) from pairs of rows. Colour is coded for every
/// pixel or averaged over squares of four.
class ColorPlanes {
public:
    ColorPlanes(heif_image& image, const RasterForm& form, bool halved)
        : m_form(form)
        , m_halved(halved)
        , m_depth(depthOf(form))
        , m_luma(image, heif_channel_Y, form.width, form.height, m_depth)
        , m_components(static_cast<std::size_t>(form.componentCount()))
    {
        if (form.model == ColorModel::rgb) {
            const int width = halved ? (form.width + 1) / 2 : form.width;
            const int height = halved ? (form.height + 1) / 2 : form.height;
            m_differences.emplace_back(image, heif_channel_Cb, width, height, m_depth);
            m_differences.emplace_back(image, heif_channel_Cr, width, height, m_depth);
        }
        if (form.hasAlpha)
            m_alpha.emplace_back(image, heif_channel_Alpha, form.width, form.height, m_depth);
    }

    void fill(RowSource& rows)
    {
        std::array<std::vector<int>, 2> samples;
        for (std::vector<int>& row : samples)
            row.resize(static_cast<std::size_t>(m_form.width) * m_components);
        const bool isDeep = m_form.bitsPerComponent == 16;
        const int step = m_halved ? 2 : 1;
        for (int y = 0; y < m_form.height; y += step) {
            const int count = std::min(step, m_form.height - y);
            for (int index = 0; index < count; ++index) {
                loadRow(rows.row(y + index), isDeep, samples[static_cast<std::size_t>(index)]);
                fillLumaAndAlpha(samples[static_cast<std::size_t>(index)], y + index);
            }
            if (!m_differences.empty())
                fillDifferences(samples[0], samples[static_cast<std::size_t>(count - 1)], y / step);
        }
    }

private:
    void fillLumaAndAlpha(const std::vector<int>& samples, int y)
    {
        const int* pixel = samples.data();
        for (int x = 0; x < m_form.width; ++x, pixel += m_components) {
            m_luma.set(
                x, y,
                static_cast<std::uint32_t>(m_differences.empty() ? pixel[0] : lumaOf(pixel[0], pixel[1], pixel[2])));
            if (!m_alpha.empty())
                m_alpha.front().set(x, y, static_cast<std::uint32_t>(pixel[m_components - 1]));
        }
    }

    void fillDifferences(const std::vector<int>& upper, const std::vector<int>& lower, int y)
    {
        const int step = m_halved ? 2 : 1;
        for (int x = 0; x < m_form.width; x += step) {
            const auto left = static_cast<std::size_t>(x) * m_components;
            const auto right = static_cast<std::size_t>(std::min(x + step - 1, m_form.width - 1)) * m_components;
            std::array<int, 3> sum{};
            for (std::size_t color = 0; color < 3; ++color)
                sum[color] = upper[left + color] + upper[right + color] + lower[left + color] + lower[right + color];
            // Weights in 1/65536; the sums are of four pixels.
            const std::int64_t cb =
                -11059 * std::int64_t{sum[0]} - 21709 * std::int64_t{sum[1]} + 32768 * std::int64_t{sum[2]};
            const std::int64_t cr =
                32768 * std::int64_t{sum[0]} - 27439 * std::int64_t{sum[1]} - 5329 * std::int64_t{sum[2]};
            m_differences[0].set(x / step, y, centred(cb));
            m_differences[1].set(x / step, y, centred(cr));
        }
    }

    static int lumaOf(int red, int green, int blue)
    {
        return (19595 * red + 38470 * green + 7471 * blue + 32768) >> 16;
    }

    std::uint32_t centred(std::int64_t difference) const
    {
        const std::int64_t maximum = (1 << m_depth) - 1;
        const std::int64_t middle = 1 << (m_depth - 1);
        return static_cast<std::uint32_t>(
            std::clamp<std::int64_t>(middle + ((difference + (1 << 17)) >> 18), 0, maximum));
    }

    const RasterForm& m_form;
    bool m_halved;
    int m_depth;
    Plane m_luma;
    std::vector<Plane> m_differences; ///< blue and red; none for grey
    std::vector<Plane> m_alpha; ///< none or one
    std::size_t m_components;
};

HeifImage makeImage(RowSource& rows, bool halved)
{
    const RasterForm& form = rows.form();
    const bool gray = form.model == ColorModel::gray;
    heif_image* raw = nullptr;
    check(heif_image_create(form.width, form.height, gray ? heif_colorspace_monochrome : heif_colorspace_YCbCr,
                            gray         ? heif_chroma_monochrome
                                : halved ? heif_chroma_420
                                         : heif_chroma_444,
                            &raw));
    HeifImage image(raw);
    ColorPlanes(*image, form, halved).fill(rows);

    const HeifColorCodes codes(heif_nclx_color_profile_alloc());
    if (!codes)
        throw std::bad_alloc();
    codes->color_primaries = heif_color_primaries_ITU_R_BT_709_5;
    codes->transfer_characteristics = heif_transfer_characteristic_IEC_61966_2_1;
    codes->matrix_coefficients = heif_matrix_coefficients_ITU_R_BT_601_6;
    codes->full_range_flag = 1;
    check(heif_image_set_nclx_color_profile(image.get(), codes.get()));
    const std::span<const std::byte> profile = usableProfile(form);
    if (!profile.empty())
        check(heif_image_set_raw_color_profile(image.get(), "prof", profile.data(), profile.size()));
    return image;
}

HeifEncoder makeEncoder(heif_context& context, double quality, bool halved)
{
    heif_encoder* raw = nullptr;
    check(heif_context_get_encoder_for_format(&context, heif_compression_HEVC, &raw));
    HeifEncoder encoder(raw);
    check(heif_encoder_set_lossy_quality(raw, encoderQuality(quality)));
    // The slower presets make files 2 to 4 % smaller at the same fidelity and take three to eight times as long.
    check(heif_encoder_set_parameter_string(raw, "preset", "ultrafast"));
    check(heif_encoder_set_parameter_string(raw, "chroma", halved ? "420" : "444"));
    heif_encoder_set_logging_level(raw, 0);
    return encoder;
}

void addMetadata(heif_context& context, const heif_image_handle& handle, const EncodeProperties& properties)
{
    const ImageMetadata& metadata = properties.metadata;
    const auto sizeOf = [](const Bytes& bytes) {
        return static_cast<int>(std::min<std::size_t>(bytes.size(), std::numeric_limits<int>::max()));
    };
    // The format has no field for the resolution but this one.
    const bool saysMore = properties.dpiWidth != 72 || properties.dpiHeight != 72;
    if (!metadata.exif.empty() || saysMore) {
        const Bytes exif = ExifStructure::withResolution(metadata.exif, properties.dpiWidth, properties.dpiHeight);
        check(heif_context_add_exif_metadata(&context, &handle, exif.data(), sizeOf(exif)));
    }
    // Other programs look for the texts of IPTC in XMP; the records themselves follow for those who know their item.
    const Bytes xmp = xmpWithIptc(metadata.auxiliaryXmp, metadata.iptc);
    if (!xmp.empty())
        check(heif_context_add_XMP_metadata(&context, &handle, xmp.data(), sizeOf(xmp)));
    if (!metadata.iptc.empty())
        check(heif_context_add_generic_metadata(&context, &handle, metadata.iptc.data(), sizeOf(metadata.iptc), "iptc",
                                                nullptr));
}

/// Where the library's writer finds the sink, and where it leaves what the sink threw: no exception may pass through
/// it.
struct WriterState {
    ByteSink& sink;
    std::exception_ptr failure;
};

void writeTo(ByteSink& sink, heif_context& context)
{
    heif_writer writer{};
    writer.writer_api_version = 1;
    writer.write = [](heif_context*, const void* data, std::size_t size, void* user) noexcept -> heif_error {
        auto& state = *static_cast<WriterState*>(user);
        try {
            state.sink.write({static_cast<const std::byte*>(data), size});
        } catch (...) {
            state.failure = std::current_exception();
            return {heif_error_Encoding_error, heif_suberror_Cannot_write_output_data, "the sink failed"};
        }
        return {heif_error_Ok, heif_suberror_Unspecified, ""};
    };
    WriterState state{sink, nullptr};
    const heif_error error = heif_context_write(&context, &writer, &state);
    if (state.failure)
        std::rethrow_exception(state.failure);
    check(error);
}

} // namespace

void encodeHeif(RowSource& rows, const EncodeProperties& properties, ByteSink& sink)
{
    const double quality = clampedQuality(properties.quality);
    const bool halved = quality < 0.95;
    const HeifContext context(heif_context_alloc());
    if (!context)
        throw std::bad_alloc();
    const HeifEncoder encoder = makeEncoder(*context, quality, halved);
    heif_image_handle* raw = nullptr;
    {
        const HeifImage image = makeImage(rows, halved);
        check(heif_context_encode_image(context.get(), image.get(), encoder.get(), nullptr, &raw));
    }
    // Nothing is asked of this handle: the library's assertions end the process for some pictures.
    const HeifImageHandle handle(raw);
    addMetadata(*context, *handle, properties);
    writeTo(sink, *context);
}

} // namespace Pelgra
