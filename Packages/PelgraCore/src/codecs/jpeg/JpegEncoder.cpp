#include "codecs/jpeg/JpegEncoder.h"

#include "metadata/ByteWriter.h"
#include "metadata/ExifStructure.h"
#include "metadata/MetadataBlocks.h"
#include "pixels/SampleDepth.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <csetjmp>
#include <cstdio>
#include <exception>
#include <string_view>

#include <jpeglib.h>

namespace Pelgra {

namespace {

/// The most bytes of content a marker segment can hold.
constexpr std::size_t segmentLimit = 65533;
constexpr std::string_view exifPrefix("Exif\0\0", 6);
constexpr std::string_view photoshopPrefix("Photoshop 3.0\0", 14);
constexpr std::string_view xmpPrefix("http://ns.adobe.com/xap/1.0/\0", 29);

/// A compressor of libjpeg. The library fails by longjmp: every call into it stands in a noexcept member whose locals
/// need no destructor and that returns false; fail() then throws what the sink threw or a runtime error.
class JpegCompressor {
public:
    explicit JpegCompressor(ByteSink& sink)
        : m_sink(sink)
    {
        m_compressor.err = jpeg_std_error(&m_errors);
        m_errors.error_exit = [](j_common_ptr common) {
            std::longjmp(of(common).m_jump, 1);
        };
        m_errors.output_message = [](j_common_ptr) {
        };
        m_compressor.client_data = this;
        if (!create())
            fail();
        m_destination.init_destination = [](j_compress_ptr) {
        };
        m_destination.empty_output_buffer = [](j_compress_ptr compressor) -> boolean {
            JpegCompressor& self = of(reinterpret_cast<j_common_ptr>(compressor));
            if (!self.passOn(self.m_buffer.size()))
                std::longjmp(self.m_jump, 1);
            return TRUE;
        };
        m_destination.term_destination = [](j_compress_ptr compressor) {
            JpegCompressor& self = of(reinterpret_cast<j_common_ptr>(compressor));
            if (!self.passOn(self.m_buffer.size() - self.m_destination.free_in_buffer))
                std::longjmp(self.m_jump, 1);
        };
        m_destination.next_output_byte = m_buffer.data();
        m_destination.free_in_buffer = m_buffer.size();
        m_compressor.dest = &m_destination;
    }
    JpegCompressor(const JpegCompressor&) = delete;
    JpegCompressor& operator=(const JpegCompressor&) = delete;
    ~JpegCompressor() { jpeg_destroy_compress(&m_compressor); }

    void start(const RasterForm& form, const EncodeProperties& properties) { check(tryStart(form, properties)); }
    void writeMarker(int code, std::span<const std::byte> content) { check(tryWriteMarker(code, content)); }
    void writeProfile(std::span<const std::byte> profile) { check(tryWriteProfile(profile)); }
    void writeRow(std::span<const std::byte> row) { check(tryWriteRow(row.data())); }
    void finish() { check(tryFinish()); }

private:
    static JpegCompressor& of(j_common_ptr common) { return *static_cast<JpegCompressor*>(common->client_data); }

    void check(bool success)
    {
        if (!success)
            fail();
    }

    [[noreturn]] void fail()
    {
        if (m_failure)
            std::rethrow_exception(m_failure);
        std::array<char, JMSG_LENGTH_MAX> message{};
        m_errors.format_message(reinterpret_cast<j_common_ptr>(&m_compressor), message.data());
        throw std::runtime_error(message.data());
    }

    /// Hands the first `size` bytes of the buffer to the sink; false, with the exception kept, when it throws.
    bool passOn(std::size_t size) noexcept
    {
        try {
            m_sink.write(std::as_bytes(std::span(m_buffer).first(size)));
        } catch (...) {
            m_failure = std::current_exception();
            return false;
        }
        m_destination.next_output_byte = m_buffer.data();
        m_destination.free_in_buffer = m_buffer.size();
        return true;
    }

    bool create() noexcept
    {
        if (setjmp(m_jump) != 0)
            return false;
        jpeg_create_compress(&m_compressor);
        return true;
    }

    bool tryStart(const RasterForm& form, const EncodeProperties& properties) noexcept
    {
        if (setjmp(m_jump) != 0)
            return false;
        m_compressor.image_width = static_cast<JDIMENSION>(form.width);
        m_compressor.image_height = static_cast<JDIMENSION>(form.height);
        m_compressor.input_components = form.model == ColorModel::gray ? 1 : 3;
        m_compressor.in_color_space = form.model == ColorModel::gray ? JCS_GRAYSCALE : JCS_RGB;
        jpeg_set_defaults(&m_compressor);
        setQuality(properties.quality);
        setDensity(properties.dpiWidth, properties.dpiHeight);
        jpeg_start_compress(&m_compressor, TRUE);
        return true;
    }

    void setQuality(double quality)
    {
        const double clamped = quality > 0 ? std::min(quality, 1.0) : 0.0;
        jpeg_set_quality(&m_compressor, std::max(static_cast<int>(std::lround(clamped * 100)), 1), TRUE);
        m_compressor.dct_method = JDCT_ISLOW;
        // Below this, halved colour is invisible; above it, whoever asks for so much quality wants all of it.
        const int sampling = clamped < 0.95 ? 2 : 1;
        m_compressor.comp_info[0].h_samp_factor = m_compressor.comp_info[0].v_samp_factor =
            m_compressor.num_components == 1 ? 1 : sampling;
        // Fitted Huffman tables triple the time. They save 2 % at ordinary qualities but 16 % and more near 1.
        m_compressor.optimize_coding = clamped > 0.98 ? TRUE : FALSE;
    }

    void setDensity(double dpiWidth, double dpiHeight)
    {
        const auto isWhole = [](double value) {
            return std::abs(value - std::round(value)) < 0.005;
        };
        const bool inCentimetres =
            !(isWhole(dpiWidth) && isWhole(dpiHeight)) && isWhole(dpiWidth / 2.54) && isWhole(dpiHeight / 2.54);
        const double unit = inCentimetres ? 2.54 : 1.0;
        m_compressor.density_unit = inCentimetres ? 2 : 1;
        m_compressor.X_density = static_cast<UINT16>(wholeDotsPerInch(dpiWidth / unit));
        m_compressor.Y_density = static_cast<UINT16>(wholeDotsPerInch(dpiHeight / unit));
    }

    bool tryWriteMarker(int code, std::span<const std::byte> content) noexcept
    {
        if (setjmp(m_jump) != 0)
            return false;
        jpeg_write_marker(&m_compressor, code, reinterpret_cast<const JOCTET*>(content.data()),
                          static_cast<unsigned>(content.size()));
        return true;
    }

    bool tryWriteProfile(std::span<const std::byte> profile) noexcept
    {
        if (setjmp(m_jump) != 0)
            return false;
        jpeg_write_icc_profile(&m_compressor, reinterpret_cast<const JOCTET*>(profile.data()),
                               static_cast<unsigned>(profile.size()));
        return true;
    }

    bool tryWriteRow(const std::byte* row) noexcept
    {
        if (setjmp(m_jump) != 0)
            return false;
        // The library reads the row only, but its interface is older than const.
        JSAMPROW samples = reinterpret_cast<JSAMPROW>(const_cast<std::byte*>(row));
        return jpeg_write_scanlines(&m_compressor, &samples, 1) == 1;
    }

    bool tryFinish() noexcept
    {
        if (setjmp(m_jump) != 0)
            return false;
        jpeg_finish_compress(&m_compressor);
        return true;
    }

    ByteSink& m_sink;
    jpeg_compress_struct m_compressor{};
    jpeg_error_mgr m_errors{};
    jpeg_destination_mgr m_destination{};
    std::jmp_buf m_jump{};
    std::exception_ptr m_failure;
    std::array<JOCTET, 65536> m_buffer{};
};

void writeSegment(JpegCompressor& compressor, int code, std::string_view prefix, std::span<const std::byte> content)
{
    ByteWriter segment(std::endian::big);
    segment.put(prefix).put(content);
    // A segment cannot be longer; what does not fit has no place in the format.
    if (!content.empty() && segment.size() <= segmentLimit)
        compressor.writeMarker(code, segment.bytes());
}

void writeMetadata(JpegCompressor& compressor, const RasterForm& form, const EncodeProperties& properties)
{
    const ImageMetadata& metadata = properties.metadata;
    if (!metadata.exif.empty()) {
        Bytes exif = ExifStructure::withResolution(metadata.exif, properties.dpiWidth, properties.dpiHeight);
        if (exif.size() > segmentLimit - exifPrefix.size())
            exif = ExifStructure::reducedTo(exif, segmentLimit - exifPrefix.size());
        writeSegment(compressor, JPEG_APP0 + 1, exifPrefix, exif);
    }
    writeSegment(compressor, JPEG_APP0 + 1, xmpPrefix, metadata.auxiliaryXmp);
    if (!metadata.iptc.empty())
        writeSegment(compressor, JPEG_APP0 + 13, photoshopPrefix, photoshopResource(metadata.iptc));
    const std::span<const std::byte> profile = usableProfile(form);
    constexpr std::size_t profileLimit = 255 * (segmentLimit - 14); // the chunks are counted in one byte
    if (!profile.empty() && profile.size() <= profileLimit)
        compressor.writeProfile(profile);
}

} // namespace

void encodeJpeg(RowSource& rows, const EncodeProperties& properties, ByteSink& sink)
{
    const RasterForm& form = rows.form();
    if (form.hasAlpha)
        throw std::runtime_error("JPEG has no place for transparency");
    JpegCompressor compressor(sink);
    compressor.start(form, properties);
    writeMetadata(compressor, form, properties);
    Bytes reduced(form.bitsPerComponent == 16 ? form.rowBytes() / 2 : 0);
    for (int y = 0; y < form.height; ++y) {
        const std::span<const std::byte> row = rows.row(y);
        if (form.bitsPerComponent == 16)
            reduceTo8(row, reduced);
        compressor.writeRow(form.bitsPerComponent == 16 ? std::span<const std::byte>(reduced) : row);
    }
    compressor.finish();
}

} // namespace Pelgra
