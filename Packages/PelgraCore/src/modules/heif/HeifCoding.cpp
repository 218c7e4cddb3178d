#include "HeifCoding.h"

#include "HeifPlanes.h"
#include "HeifStructure.h"
#include "metadata/MetadataBlocks.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <exception>
#include <mutex>
#include <utility>

namespace Pelgra {

namespace {

void check(const heif_error& error)
{
    checkHeif<std::runtime_error>(error);
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
    rows.release();
    return image;
}

HeifEncoder makeEncoder(heif_context& context, const HeifCoding& coding)
{
    heif_encoder* raw = nullptr;
    check(heif_context_get_encoder_for_format(&context, heif_compression_HEVC, &raw));
    HeifEncoder encoder(raw);
    check(heif_encoder_set_lossy_quality(raw, encoderQuality(coding.quality)));
    // The slower presets make files 2 to 4 % smaller at the same fidelity and take three to eight times as long.
    check(heif_encoder_set_parameter_string(raw, "preset", "ultrafast"));
    // Decisions by the estimated rate alone: 7 % less time at the same size and fidelity (0.04 dB at most).
    check(heif_encoder_set_parameter_string(raw, "x265:rd", "1"));
    check(heif_encoder_set_parameter_string(raw, "chroma", coding.isHalved() ? "420" : "444"));
    if (coding.isTile)
        check(heif_encoder_set_parameter_string(raw, "x265:pools", "none"));
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
        const HeifEncoder encoder = makeEncoder(*context, {});
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

/// Where the library's writer finds the sink, and where it leaves what the sink threw: no exception may pass through
/// it.
struct WriterState {
    ByteSink& sink;
    std::exception_ptr failure;
};

HeifCodedItem itemFrom(const HeifStructure& structure, const HeifItem* item)
{
    if (!item || item->content.empty())
        throw std::runtime_error("libheif: a picture without an item");
    HeifCodedItem coded;
    coded.data.assign(item->content.begin(), item->content.end());
    for (const HeifProperty& property : structure.propertiesOf(*item))
        coded.properties.push_back({std::string(property.type), Bytes(property.content.begin(), property.content.end()),
                                    property.isEssential});
    return coded;
}

/// Keeps what is written.
class BytesSink final : public ByteSink {
public:
    void write(std::span<const std::byte> bytes) override { m_bytes.insert(m_bytes.end(), bytes.begin(), bytes.end()); }
    void writeAt(std::size_t offset, std::span<const std::byte> bytes) override
    {
        std::copy(bytes.begin(), bytes.end(), m_bytes.begin() + static_cast<std::ptrdiff_t>(offset));
    }
    const Bytes& bytes() const { return m_bytes; }

private:
    Bytes m_bytes;
};

} // namespace

HeifCodedContext codedContext(RowSource& rows, const HeifCoding& coding)
{
    prepareLibrary();
    HeifContext context(heif_context_alloc());
    if (!context)
        throw std::bad_alloc();
    const HeifEncoder encoder = makeEncoder(*context, coding);
    const HeifImage image = makeImage(rows, coding.isHalved());
    heif_image_handle* handle = nullptr;
    check(heif_context_encode_image(context.get(), image.get(), encoder.get(), nullptr, &handle));
    return {std::move(context), HeifImageHandle(handle)};
}

void writeHeif(heif_context& context, ByteSink& sink)
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

HeifCodedPicture codedPicture(RowSource& rows, const HeifCoding& coding)
{
    BytesSink file;
    writeHeif(*codedContext(rows, coding).context, file);
    const HeifStructure structure(file.bytes());
    const HeifItem* const primary = structure.primary() ? structure.item(*structure.primary()) : nullptr;
    HeifCodedPicture picture;
    picture.fileType.assign(structure.fileType().begin(), structure.fileType().end());
    picture.colors = itemFrom(structure, primary);
    if (!primary->auxiliaries.empty())
        picture.alpha = itemFrom(structure, structure.item(primary->auxiliaries.front()));
    return picture;
}

} // namespace Pelgra
