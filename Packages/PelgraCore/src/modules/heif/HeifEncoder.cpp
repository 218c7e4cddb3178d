#include "HeifEncoder.h"

#include "HeifHandles.h"
#include "HeifPlanes.h"
#include "metadata/ExifStructure.h"
#include "metadata/IptcAsXmp.h"
#include "metadata/MetadataBlocks.h"
#include "parallel/Heartbeat.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <exception>
#include <limits>
#include <mutex>
#include <utility>

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

/// The library's quality for ours. At the same number its files are larger than JPEG's; measured for equal fidelity,
/// 0.9 is about 55. The last tenth covers the rest of the scale.
int encoderQuality(double quality)
{
    return static_cast<int>(std::lround(quality <= 0.9 ? 61 * quality : 54.9 + (quality - 0.9) * 451));
}

HeifImage makeImage(RowSource& rows, bool halved)
{
    HeifImage image = planesOf(rows, halved);
    const HeifColorCodes codes(heif_nclx_color_profile_alloc());
    if (!codes)
        throw std::bad_alloc();
    codes->color_primaries = heif_color_primaries_ITU_R_BT_709_5;
    codes->transfer_characteristics = heif_transfer_characteristic_IEC_61966_2_1;
    codes->matrix_coefficients = heif_matrix_coefficients_ITU_R_BT_601_6;
    codes->full_range_flag = 1;
    check(heif_image_set_nclx_color_profile(image.get(), codes.get()));
    const std::span<const std::byte> profile = usableProfile(rows.form());
    if (!profile.empty())
        check(heif_image_set_raw_color_profile(image.get(), "prof", profile.data(), profile.size()));
    rows.release(); // the encoder needs several times as much memory
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
    // Decisions by the estimated rate alone: 7 % less time at the same size and fidelity (0.04 dB at most).
    check(heif_encoder_set_parameter_string(raw, "x265:rd", "1"));
    check(heif_encoder_set_parameter_string(raw, "chroma", halved ? "420" : "444"));
    heif_encoder_set_logging_level(raw, 0);
    return encoder;
}

/// The encoding library fills its table of functions when it is first used, unguarded: a second thread that comes
/// meanwhile finds the table begun, takes it for filled and calls what is not there yet. So the first use is a picture
/// of one block, which the others wait for; it takes 4 ms, most of them for what the first picture would do.
void prepareLibrary()
{
    static std::once_flag prepared;
    std::call_once(prepared, [] {
        constexpr int side = 16;
        const HeifContext context(heif_context_alloc());
        if (!context)
            throw std::bad_alloc();
        const HeifEncoder encoder = makeEncoder(*context, 0, true);
        heif_image* rawImage = nullptr;
        check(heif_image_create(side, side, heif_colorspace_YCbCr, heif_chroma_420, &rawImage));
        const HeifImage image(rawImage);
        for (const auto& [channel, size] : {std::pair{heif_channel_Y, side}, std::pair{heif_channel_Cb, side / 2},
                                            std::pair{heif_channel_Cr, side / 2}}) {
            check(heif_image_add_plane(image.get(), channel, size, size, 8));
            int stride = 0;
            std::uint8_t* const plane = heif_image_get_plane(image.get(), channel, &stride);
            std::fill_n(plane, size * stride, std::uint8_t{0});
        }
        heif_image_handle* rawHandle = nullptr;
        check(heif_context_encode_image(context.get(), image.get(), encoder.get(), nullptr, &rawHandle));
        const HeifImageHandle handle(rawHandle);
    });
}

void addMetadata(heif_context& context, const heif_image_handle& handle, const EncodeProperties& properties)
{
    const ImageMetadata& metadata = properties.metadata;
    const auto sizeOf = [](const Bytes& bytes) {
        return static_cast<int>(std::min<std::size_t>(bytes.size(), std::numeric_limits<int>::max()));
    };
    // The format has no other field for the resolution.
    const bool saysMore = properties.dpiWidth != 72 || properties.dpiHeight != 72;
    if (!metadata.exif.empty() || saysMore) {
        const Bytes exif = ExifStructure::withResolution(metadata.exif, properties.dpiWidth, properties.dpiHeight);
        check(heif_context_add_exif_metadata(&context, &handle, exif.data(), sizeOf(exif)));
    }
    // Other programs look for IPTC's texts in XMP; the records themselves follow for those that know where to find
    // them.
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
    prepareLibrary();
    const HeifContext context(heif_context_alloc());
    if (!context)
        throw std::bad_alloc();
    const HeifEncoder encoder = makeEncoder(*context, quality, halved);
    heif_image_handle* raw = nullptr;
    {
        const HeifImage image = makeImage(rows, halved);
        // The encoder tells nothing until it is done; it takes 0.1 s for a megapixel.
        constexpr double secondsPerPixel = 0.3e-6;
        const Heartbeat::LongStep encoding(secondsPerPixel * rows.form().width * rows.form().height);
        check(heif_context_encode_image(context.get(), image.get(), encoder.get(), nullptr, &raw));
    }
    // This handle is not used for anything: for some pictures the library's assertions would end the process.
    const HeifImageHandle handle(raw);
    addMetadata(*context, *handle, properties);
    writeTo(sink, *context);
}

} // namespace Pelgra
