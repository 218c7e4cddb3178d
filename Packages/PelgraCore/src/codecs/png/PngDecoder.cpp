#include "codecs/png/PngDecoder.h"

#include "codecs/png/PngChunks.h"
#include "codecs/png/PngColors.h"
#include "codecs/png/PngFastPath.h"
#include "metadata/ExifFields.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <limits>
#include <optional>
#include <utility>

#include <png.h>

namespace Pelgra {

namespace {

/// What the library's callbacks and jumps touch. No function below that calls the library has locals in need of a
/// destructor, because the library's errors leave by longjmp.
struct Reading {
    png_structp png = nullptr;
    png_infop info = nullptr;
    const std::byte* next = nullptr;
    std::size_t remaining = 0;

    int passes = 1;
    int currentPass = 0;
    int rowsOfPass = 0;

    Reading() = default;
    Reading(const Reading&) = delete;
    Reading& operator=(const Reading&) = delete;
    ~Reading() { png_destroy_read_struct(&png, &info, nullptr); }
};

constexpr std::size_t colorTypeOffset = 25; // in the file

/// The form of the pixels once the library's own transformations are applied.
struct Form {
    png_uint_32 width = 0;
    png_uint_32 height = 0;
    int channels = 0;
    int bits = 0;
};

[[noreturn]] void leave(png_structp png, png_const_charp)
{
    png_longjmp(png, 1);
}

void ignoreWarning(png_structp, png_const_charp)
{
}

void provideBytes(png_structp png, png_bytep target, std::size_t size)
{
    auto* const reading = static_cast<Reading*>(png_get_io_ptr(png));
    if (size > reading->remaining)
        png_longjmp(png, 1);
    std::memcpy(target, reading->next, size);
    reading->next += size;
    reading->remaining -= size;
}

bool readHeader(Reading& reading) noexcept
{
    if (setjmp(png_jmpbuf(reading.png)) != 0)
        return false;
    constexpr png_uint_32 sideLimit = std::numeric_limits<int>::max() / 16;
    constexpr png_alloc_size_t chunkLimit = png_alloc_size_t{16} << 20;
    png_set_user_limits(reading.png, sideLimit, sideLimit);
    png_set_chunk_malloc_max(reading.png, chunkLimit);
    // Everything beside the pixels is read by PngChunks.
    png_set_keep_unknown_chunks(reading.png, PNG_HANDLE_CHUNK_NEVER, nullptr, -1);
    png_set_read_fn(reading.png, &reading, provideBytes);
    png_read_info(reading.png, reading.info);
    return true;
}

bool chooseForm(Reading& reading, Form& form) noexcept
{
    if (setjmp(png_jmpbuf(reading.png)) != 0)
        return false;
    png_set_expand(reading.png); // palettes, low depths, transparent colours
    if constexpr (std::endian::native == std::endian::little)
        png_set_swap(reading.png);
    reading.passes = png_set_interlace_handling(reading.png);
    png_read_update_info(reading.png, reading.info);
    form.width = png_get_image_width(reading.png, reading.info);
    form.height = png_get_image_height(reading.png, reading.info);
    form.channels = png_get_channels(reading.png, reading.info);
    form.bits = png_get_bit_depth(reading.png, reading.info);
    return true;
}

/// Reads as much as there is; `reading` says how far that was.
void readRows(Reading& reading, unsigned char* pixels, std::size_t stride, int height) noexcept
{
    if (setjmp(png_jmpbuf(reading.png)) != 0)
        return;
    for (reading.currentPass = 0; reading.currentPass < reading.passes; ++reading.currentPass) {
        for (reading.rowsOfPass = 0; reading.rowsOfPass < height; ++reading.rowsOfPass)
            png_read_row(reading.png, pixels + static_cast<std::size_t>(reading.rowsOfPass) * stride, nullptr);
    }
}

RasterImage makeImage(const Form& form)
{
    constexpr auto largest = static_cast<png_uint_32>(std::numeric_limits<int>::max());
    if (form.width > largest || form.height > largest)
        throw DecodeError("PNG: too large");
    const ColorModel model = form.channels <= 2 ? ColorModel::gray : ColorModel::rgb;
    const bool hasAlpha = form.channels % 2 == 0;
    std::optional<RasterImage> image =
        RasterImage::make(static_cast<int>(form.width), static_cast<int>(form.height), model, hasAlpha, form.bits);
    if (!image)
        throw DecodeError("PNG: too large");
    return std::move(*image);
}

RasterImage decodeWithLibrary(std::span<const std::byte> file)
{
    Reading reading;
    reading.next = file.data();
    reading.remaining = file.size();
    reading.png = png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, leave, ignoreWarning);
    if (reading.png)
        reading.info = png_create_info_struct(reading.png);
    Form form;
    if (!reading.info || !readHeader(reading) || !chooseForm(reading, form))
        throw DecodeError("PNG: no header");

    RasterImage image = makeImage(form);
    const std::byte blank = image.hasAlpha ? std::byte{0} : std::byte{0x80};
    if (reading.passes > 1)
        std::fill(image.pixels.begin(), image.pixels.end(), blank); // a pass that is missing leaves holes
    readRows(reading, reinterpret_cast<unsigned char*>(image.pixels.data()), image.stride, image.height);
    if (reading.currentPass == 0 && reading.rowsOfPass == 0)
        throw DecodeError("PNG: no rows");
    if (reading.passes == 1) {
        const std::size_t filled =
            static_cast<std::size_t>(reading.currentPass == 1 ? image.height : reading.rowsOfPass);
        std::fill(image.pixels.begin() + static_cast<std::ptrdiff_t>(filled * image.stride), image.pixels.end(), blank);
    }
    return image;
}

class PngRows final : public RowSource {
public:
    PngRows(Bytes file, Bytes iccProfile, std::unique_ptr<PlainPngRows> plain)
        : m_file(std::move(file)) // its bytes stay where they are
        , m_profile(std::move(iccProfile))
        , m_plain(std::move(plain))
        , m_form(m_plain->form())
    {
        m_form.iccProfile = m_profile;
    }

    const RasterForm& form() const override { return m_form; }

    std::span<const std::byte> row(int y) override
    {
        while (m_plain && y >= m_next) {
            m_row = m_plain->next();
            ++m_next;
            const bool isSound = !m_row.empty() && (m_next < m_form.height || m_plain->endsWell());
            if (!isSound)
                turnToLibrary();
        }
        return m_whole ? m_whole->row(y) : m_row;
    }

    void release() override
    {
        m_plain.reset();
        m_whole.reset();
        m_file = {};
        m_profile = {};
        m_form.iccProfile = {};
    }

private:
    /// For the rest of the rows; up to here both give the same.
    void turnToLibrary()
    {
        m_plain.reset();
        m_whole = decodeWithLibrary(m_file);
    }

    Bytes m_file;
    Bytes m_profile;
    std::unique_ptr<PlainPngRows> m_plain;
    RasterForm m_form;
    std::span<const std::byte> m_row;
    int m_next = 0;
    std::optional<RasterImage> m_whole;
};

} // namespace

std::unique_ptr<RowSource> pngRows(Bytes&& file, Bytes iccProfile, bool withThread, bool withAlpha)
{
    constexpr std::byte alphaBit{4};
    if (file.size() <= colorTypeOffset || (!withAlpha && (file[colorTypeOffset] & alphaBit) != std::byte{0}))
        return nullptr;
    std::unique_ptr<PlainPngRows> plain = PlainPngRows::open(file, withThread);
    return plain ? std::make_unique<PngRows>(std::move(file), std::move(iccProfile), std::move(plain)) : nullptr;
}

DecodedImage describePng(std::span<const std::byte> file)
{
    DecodedImage decoded;
    PngProperties properties = readPngProperties(file);
    const ExifFields exif = readExifFields(properties.exif);
    decoded.orientation = exif.orientation;
    const bool hasDensity = properties.dpiX || properties.dpiY;
    decoded.dpiX = hasDensity ? properties.dpiX : exif.dpiX;
    decoded.dpiY = hasDensity ? properties.dpiY : exif.dpiY;
    // Its own profile must fit the model, which callers look at; one made from other chunks is made to fit.
    constexpr std::byte colorBit{2};
    const bool isColored = file.size() > colorTypeOffset && (file[colorTypeOffset] & colorBit) != std::byte{0};
    decoded.image.model = isColored ? ColorModel::rgb : ColorModel::gray;
    decoded.image.iccProfile = profileFromChunks(properties, decoded.image.model);
    if (!properties.iccProfile.empty())
        decoded.image.iccProfile = std::move(properties.iccProfile);
    decoded.exif = std::move(properties.exif);
    decoded.iptc = std::move(properties.iptc);
    decoded.xmp = std::move(properties.xmp);
    return decoded;
}

DecodedImage decodePng(std::span<const std::byte> file)
{
    std::optional<RasterImage> plain = decodePlainPng(file);
    RasterImage pixels = plain ? std::move(*plain) : decodeWithLibrary(file);
    DecodedImage decoded = describePng(file);
    pixels.iccProfile = std::move(decoded.image.iccProfile);
    decoded.image = std::move(pixels);
    return decoded;
}

} // namespace Pelgra
