#include "codecs/jpeg/JpegDecoder.h"

#include "codecs/jpeg/JpegMarkers.h"
#include "metadata/ExifFields.h"

#include <algorithm>
#include <array>
#include <csetjmp>
#include <cstdint>
#include <cstdio>

#include <jpeglib.h>

#include <jerror.h>

namespace Pelgra {

namespace {

constexpr double centimetersPerInch = 2.54;

/// The library's state with the way out of its errors. Everything the library calls back stands here without locals
/// that need a destructor, because its errors leave by longjmp.
struct Decompression {
    jpeg_decompress_struct info{};
    jpeg_error_mgr errors{};
    jpeg_progress_mgr progress{};
    std::jmp_buf escape;
    bool endsBeforeFirstRow = false;

    Decompression() = default;
    Decompression(const Decompression&) = delete;
    Decompression& operator=(const Decompression&) = delete;
    ~Decompression() { release(); }
    void release() { jpeg_destroy_decompress(&info); }
};

[[noreturn]] void leave(j_common_ptr info)
{
    std::longjmp(static_cast<Decompression*>(info->client_data)->escape, 1);
}

/// Where the data ends before the first row of blocks is complete, decoding on gains nothing.
void takeMessage(j_common_ptr common, int level)
{
    if (level >= 0)
        return;
    ++common->err->num_warnings;
    const auto* const info = reinterpret_cast<j_decompress_ptr>(common);
    const bool dataEnded = common->err->msg_code == JWRN_HIT_MARKER;
    if (dataEnded && info->input_scan_number <= 1 && info->input_iMCU_row == 0) {
        static_cast<Decompression*>(common->client_data)->endsBeforeFirstRow = true;
        leave(common);
    }
}

/// A few bytes can ask for hundreds of passes over a large picture. Photographs need about ten.
void limitScans(j_common_ptr common)
{
    constexpr std::uint64_t ordinaryScans = 20, pixelPassLimit = 1'000'000'000;
    const auto* const info = reinterpret_cast<j_decompress_ptr>(common);
    const auto scans = static_cast<std::uint64_t>(std::max(info->input_scan_number, 0));
    if (scans > ordinaryScans && scans * info->image_width * info->image_height > pixelPassLimit)
        leave(common);
}

void prepare(Decompression& decompression)
{
    decompression.info.err = jpeg_std_error(&decompression.errors);
    decompression.info.client_data = &decompression;
    decompression.errors.error_exit = leave;
    decompression.errors.emit_message = takeMessage;
    decompression.errors.output_message = [](j_common_ptr) {
    };
    decompression.progress.progress_monitor = limitScans;
}

bool readHeader(Decompression& decompression, const std::byte* bytes, std::size_t size) noexcept
{
    if (setjmp(decompression.escape) != 0)
        return false;
    jpeg_create_decompress(&decompression.info);
    decompression.info.progress = &decompression.progress;
    jpeg_mem_src(&decompression.info, reinterpret_cast<const unsigned char*>(bytes), static_cast<unsigned long>(size));
    return jpeg_read_header(&decompression.info, TRUE) == JPEG_HEADER_OK;
}

bool start(Decompression& decompression) noexcept
{
    if (setjmp(decompression.escape) != 0)
        return false;
    return jpeg_start_decompress(&decompression.info) == TRUE;
}

/// Decodes the rows from `first` up to `end` into memory that begins with the first of them. Returns whether all came.
bool readRows(Decompression& decompression, unsigned char* pixels, std::size_t stride, JDIMENSION first,
              JDIMENSION end) noexcept
{
    jpeg_decompress_struct& info = decompression.info;
    if (setjmp(decompression.escape) != 0)
        return false;
    std::array<JSAMPROW, 16> rows;
    while (info.output_scanline < end) {
        const JDIMENSION count = std::min(static_cast<JDIMENSION>(rows.size()), end - info.output_scanline);
        for (JDIMENSION index = 0; index < count; ++index)
            rows[index] = pixels + (info.output_scanline + index - first) * stride;
        jpeg_read_scanlines(&info, rows.data(), count);
    }
    return true;
}

/// Decodes as many of these rows as there are; the missing ones are grey. Returns whether all came.
bool readRowsOrGray(Decompression& decompression, std::span<std::byte> pixels, std::size_t stride, int first, int end)
{
    const bool areAll = readRows(decompression, reinterpret_cast<unsigned char*>(pixels.data()), stride,
                                 static_cast<JDIMENSION>(first), static_cast<JDIMENSION>(end));
    const std::size_t came = decompression.info.output_scanline - static_cast<std::size_t>(first);
    if (!areAll)
        std::fill(pixels.begin() + static_cast<std::ptrdiff_t>(came * stride), pixels.end(), std::byte{0x80});
    return areAll;
}

/// A picture whose scan has begun counts as there, as it does for every common reader.
void checkRows(const Decompression& decompression)
{
    if (decompression.info.output_scanline == 0 && !decompression.endsBeforeFirstRow)
        throw DecodeError("JPEG: no rows");
}

ColorModel chooseColorModel(jpeg_decompress_struct& info)
{
    switch (info.jpeg_color_space) {
    case JCS_GRAYSCALE:
        info.out_color_space = JCS_GRAYSCALE;
        return ColorModel::gray;
    case JCS_YCbCr:
    case JCS_RGB:
        info.out_color_space = JCS_RGB;
        return ColorModel::rgb;
    case JCS_CMYK:
    case JCS_YCCK:
        info.out_color_space = JCS_CMYK;
        return ColorModel::cmyk;
    default:
        throw DecodeError("JPEG: an unknown number of components");
    }
}

/// Pictures of several scans are kept as coefficients, two bytes each, until the last scan is read.
void checkCoefficientMemory(const jpeg_decompress_struct& info)
{
    if (!info.progressive_mode && info.comps_in_scan == info.num_components)
        return;
    std::uint64_t bytes = 0;
    for (int index = 0; index < info.num_components; ++index) {
        const jpeg_component_info& component = info.comp_info[index];
        bytes += std::uint64_t{component.width_in_blocks} * component.height_in_blocks * sizeof(JBLOCK);
    }
    if (bytes > RasterImage::pixelByteLimit)
        throw DecodeError("JPEG: too large");
}

void invert(PixelBuffer& pixels)
{
    for (std::byte& value : pixels)
        value = ~value;
}

void setResolution(const jpeg_decompress_struct& info, const ExifFields& exif, DecodedImage& decoded)
{
    decoded.dpiX = exif.dpiX;
    decoded.dpiY = exif.dpiY;
    // What the camera says comes first; many programs put a placeholder into the JFIF header.
    if (exif.dpiX || exif.dpiY || !info.saw_JFIF_marker || (info.density_unit != 1 && info.density_unit != 2))
        return;
    const double dotsPerUnit = info.density_unit == 2 ? centimetersPerInch : 1;
    if (info.X_density > 0)
        decoded.dpiX = info.X_density * dotsPerUnit;
    if (info.Y_density > 0)
        decoded.dpiY = info.Y_density * dotsPerUnit;
}

RasterImage decodePixels(Decompression& decompression)
{
    jpeg_decompress_struct& info = decompression.info;
    const ColorModel model = chooseColorModel(info);
    checkCoefficientMemory(info);
    std::optional<RasterImage> image =
        RasterImage::make(static_cast<int>(info.image_width), static_cast<int>(info.image_height), model, false, 8);
    if (!image)
        throw DecodeError("JPEG: too large");
    if (start(decompression))
        readRowsOrGray(decompression, image->pixels, image->stride, 0, image->height);
    else
        std::fill(image->pixels.begin(), image->pixels.end(), std::byte{0x80});
    checkRows(decompression);
    // Adobe's programs store the complement, and so does everyone else who wants their files read.
    if (model == ColorModel::cmyk && info.saw_Adobe_marker)
        invert(image->pixels);
    return std::move(*image);
}

DecodedImage read(std::span<const std::byte> file, bool withPixels)
{
    Decompression decompression;
    prepare(decompression);
    if (!readHeader(decompression, file.data(), file.size()))
        throw DecodeError("JPEG: no header");

    DecodedImage decoded;
    if (withPixels) {
        decoded.image = decodePixels(decompression);
    } else {
        decoded.image.width = static_cast<int>(decompression.info.image_width);
        decoded.image.height = static_cast<int>(decompression.info.image_height);
        decoded.image.model = chooseColorModel(decompression.info);
    }
    JpegMarkers markers = readJpegMarkers(file);
    const ExifFields exif = readExifFields(markers.exif);
    decoded.orientation = exif.orientation;
    setResolution(decompression.info, exif, decoded);
    decoded.image.iccProfile = std::move(markers.iccProfile);
    decoded.exif.assign(markers.exif.begin(), markers.exif.end());
    decoded.iptc = std::move(markers.iptc);
    decoded.xmp.assign(markers.xmp.begin(), markers.xmp.end());
    return decoded;
}

class JpegRows final : public RowSource {
public:
    JpegRows(Bytes file, Bytes iccProfile, bool withBeginning)
        : m_file(std::move(file))
        , m_profile(std::move(iccProfile))
    {
        prepare(m_decompression);
        jpeg_decompress_struct& info = m_decompression.info;
        if (!readHeader(m_decompression, m_file.data(), m_file.size()))
            throw DecodeError("JPEG: no header");
        m_form.model = chooseColorModel(info);
        checkCoefficientMemory(info);
        m_form.width = static_cast<int>(info.image_width);
        m_form.height = static_cast<int>(info.image_height);
        m_form.iccProfile = m_profile;
        if (!RasterImage::fits(info.image_width, info.image_height, m_form.bytesPerPixel()))
            throw DecodeError("JPEG: too large");
        if (m_form.model == ColorModel::cmyk)
            throw DecodeError("JPEG: rows in CMYK");
        m_isDecoding = start(m_decompression);
        const std::size_t bytes = withBeginning ? beginningBytes : 0;
        readOn(static_cast<int>(std::max<std::size_t>(bytes / m_form.rowBytes(), rowsAtOnce)));
        checkRows(m_decompression);
    }

    const RasterForm& form() const override { return m_form; }

    const RasterImage* beginning() const override { return m_first == 0 ? &m_rows : nullptr; }

    std::span<const std::byte> row(int y) override
    {
        while (y >= m_first + m_rows.height)
            readOn(rowsAtOnce);
        return m_rows.row(y - m_first);
    }

    void release() override
    {
        m_decompression.release();
        m_file = {};
        m_rows = {};
        m_profile = {};
        m_form.iccProfile = {};
        m_isDecoding = false;
    }

private:
    static constexpr int rowsAtOnce = 64;
    static constexpr std::size_t beginningBytes = 48 << 20;

    /// Takes the next rows in place of the last ones.
    void readOn(int atMost)
    {
        m_first += m_rows.height;
        const int count = std::min(atMost, m_form.height - m_first);
        const bool fitsInPlace = m_rows.height > 0 && m_rows.height <= rowsAtOnce;
        std::optional<RasterImage> rows = RasterImage::make(m_form.width, count, m_form.model, false, 8,
                                                            fitsInPlace ? std::move(m_rows.pixels) : PixelBuffer());
        if (!rows)
            throw DecodeError("JPEG: too large");
        m_rows = std::move(*rows);
        if (m_isDecoding)
            m_isDecoding = readRowsOrGray(m_decompression, m_rows.pixels, m_rows.stride, m_first, m_first + count);
        else
            std::fill(m_rows.pixels.begin(), m_rows.pixels.end(), std::byte{0x80});
    }

    Bytes m_file;
    Bytes m_profile;
    RasterForm m_form;
    Decompression m_decompression;
    RasterImage m_rows; ///< those from m_first on
    int m_first = 0;
    bool m_isDecoding = false;
};

} // namespace

std::unique_ptr<RowSource> jpegRows(Bytes file, Bytes iccProfile, bool withBeginning)
{
    return std::make_unique<JpegRows>(std::move(file), std::move(iccProfile), withBeginning);
}

DecodedImage decodeJpeg(std::span<const std::byte> file)
{
    return read(file, true);
}

DecodedImage describeJpeg(std::span<const std::byte> file)
{
    return read(file, false);
}

} // namespace Pelgra
