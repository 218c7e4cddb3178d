// The libraries' own answer to an error, ending the test program, will do here: none can happen.
#include "Support/ImageSamples.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include <jpeglib.h>
#include <libheif/heif.h>
#include <png.h>
#include <webp/encode.h>
#include <webp/mux.h>

namespace Pelgra {

namespace {

void writeMarker(jpeg_compress_struct& info, int marker, std::string_view prefix, const Bytes& content)
{
    Bytes bytes = bytesOf(prefix);
    bytes.insert(bytes.end(), content.begin(), content.end());
    jpeg_write_marker(&info, marker, reinterpret_cast<const JOCTET*>(bytes.data()),
                      static_cast<unsigned>(bytes.size()));
}

void writeMetadataMarkers(jpeg_compress_struct& info, const JpegSampleOptions& options)
{
    using namespace std::string_view_literals;
    Bytes exif = options.exif;
    if (exif.empty() && options.orientation)
        exif = exifSample({.orientation = options.orientation, .resolution = {}});
    if (!exif.empty())
        writeMarker(info, JPEG_APP0 + 1, "Exif\0\0"sv, exif);
    if (!options.xmp.empty())
        writeMarker(info, JPEG_APP0 + 1, "http://ns.adobe.com/xap/1.0/\0"sv, options.xmp);
    if (!options.iptc.empty()) {
        std::string prefix("Photoshop 3.0\0008BIM\x04\x04\0\0\0\0"sv);
        prefix.push_back(static_cast<char>(options.iptc.size() >> 8));
        prefix.push_back(static_cast<char>(options.iptc.size() & 0xFF));
        writeMarker(info, JPEG_APP0 + 13, prefix, options.iptc);
    }
    if (!options.iccProfile.empty())
        jpeg_write_icc_profile(&info, reinterpret_cast<const JOCTET*>(options.iccProfile.data()),
                               static_cast<unsigned>(options.iccProfile.size()));
}

void configureJpeg(jpeg_compress_struct& info, const RasterImage& image, const JpegSampleOptions& options)
{
    info.image_width = static_cast<JDIMENSION>(image.width);
    info.image_height = static_cast<JDIMENSION>(image.height);
    info.input_components = image.componentCount();
    info.in_color_space = image.model == ColorModel::gray ? JCS_GRAYSCALE
        : image.model == ColorModel::rgb                  ? JCS_RGB
                                                          : JCS_CMYK;
    jpeg_set_defaults(&info);
    jpeg_set_quality(&info, options.quality, TRUE);
    if (!options.chromaSubsampling) {
        for (int component = 0; component < info.num_components; ++component)
            info.comp_info[component].h_samp_factor = info.comp_info[component].v_samp_factor = 1;
    }
    if (options.progressive)
        jpeg_simple_progression(&info);
    info.write_JFIF_header = options.density ? TRUE : FALSE;
    info.write_Adobe_marker = image.model == ColorModel::cmyk && options.adobeMarker ? TRUE : FALSE;
    if (options.density) {
        info.density_unit = static_cast<UINT8>((*options.density)[0]);
        info.X_density = static_cast<UINT16>((*options.density)[1]);
        info.Y_density = static_cast<UINT16>((*options.density)[2]);
    }
}

void appendBytes(png_structp png, png_bytep data, std::size_t size)
{
    auto& bytes = *static_cast<Bytes*>(png_get_io_ptr(png));
    const auto* const begin = reinterpret_cast<const std::byte*>(data);
    bytes.insert(bytes.end(), begin, begin + size);
}

/// A PNG being written into memory.
struct PngWriter {
    Bytes bytes;
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png_create_info_struct(png);

    PngWriter() { png_set_write_fn(png, &bytes, appendBytes, nullptr); }
    PngWriter(const PngWriter&) = delete;
    PngWriter& operator=(const PngWriter&) = delete;
    ~PngWriter() { png_destroy_write_struct(&png, &info); }

    Bytes finish(std::vector<png_bytep>& rows)
    {
        png_write_image(png, rows.data());
        png_write_end(png, info);
        return std::move(bytes);
    }
};

int pngColorType(const RasterImage& image)
{
    if (image.model == ColorModel::gray)
        return image.hasAlpha ? PNG_COLOR_TYPE_GRAY_ALPHA : PNG_COLOR_TYPE_GRAY;
    return image.hasAlpha ? PNG_COLOR_TYPE_RGB_ALPHA : PNG_COLOR_TYPE_RGB;
}

void setPngProperties(PngWriter& writer, const PngSampleOptions& options)
{
    if (options.density)
        png_set_pHYs(writer.png, writer.info, (*options.density)[0], (*options.density)[1],
                     static_cast<int>((*options.density)[2]));
    if (!options.exif.empty()) {
        Bytes copy = options.exif;
        png_set_eXIf_1(writer.png, writer.info, static_cast<png_uint_32>(copy.size()),
                       reinterpret_cast<png_bytep>(copy.data()));
    }
    if (!options.iccProfile.empty())
        png_set_iCCP(writer.png, writer.info, "profile", PNG_COMPRESSION_TYPE_BASE,
                     reinterpret_cast<png_const_bytep>(options.iccProfile.data()),
                     static_cast<png_uint_32>(options.iccProfile.size()));
    if (!options.xmp.empty()) {
        std::string key = "XML:com.adobe.xmp", empty;
        std::string text(reinterpret_cast<const char*>(options.xmp.data()), options.xmp.size());
        png_text entry{};
        entry.compression = PNG_ITXT_COMPRESSION_NONE;
        entry.key = key.data();
        entry.text = text.data();
        entry.itxt_length = text.size();
        entry.lang = empty.data();
        entry.lang_key = empty.data();
        png_set_text(writer.png, writer.info, &entry, 1);
    }
    if (options.gamma)
        png_set_gAMA(writer.png, writer.info, *options.gamma);
    if (options.chromaticities) {
        const auto& xy = *options.chromaticities;
        png_set_cHRM(writer.png, writer.info, xy[0], xy[1], xy[2], xy[3], xy[4], xy[5], xy[6], xy[7]);
    }
}

void setPalette(PngWriter& writer, const PngIndexedOptions& options)
{
    std::vector<png_color> colors;
    std::vector<png_byte> alphas;
    for (const auto& entry : options.palette) {
        colors.push_back({entry[0], entry[1], entry[2]});
        alphas.push_back(entry[3]);
    }
    png_set_PLTE(writer.png, writer.info, colors.data(), static_cast<int>(colors.size()));
    if (std::any_of(alphas.begin(), alphas.end(), [](png_byte alpha) { return alpha != 255; }))
        png_set_tRNS(writer.png, writer.info, alphas.data(), static_cast<int>(alphas.size()), nullptr);
}

Bytes withWebpChunks(const WebPMemoryWriter& picture, const Bytes& exif, const Bytes& iccProfile)
{
    const std::unique_ptr<WebPMux, decltype(&WebPMuxDelete)> mux(WebPMuxNew(), WebPMuxDelete);
    const auto dataOf = [](const Bytes& bytes) {
        return WebPData{reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()};
    };
    const WebPData content{picture.mem, picture.size};
    const WebPData exifData = dataOf(exif), profileData = dataOf(iccProfile);
    WebPMuxSetImage(mux.get(), &content, 1);
    if (!exif.empty())
        WebPMuxSetChunk(mux.get(), "EXIF", &exifData, 1);
    if (!iccProfile.empty())
        WebPMuxSetChunk(mux.get(), "ICCP", &profileData, 1);
    WebPData assembled{};
    if (WebPMuxAssemble(mux.get(), &assembled) != WEBP_MUX_OK)
        std::abort();
    const auto* const begin = reinterpret_cast<const std::byte*>(assembled.bytes);
    Bytes bytes(begin, begin + assembled.size);
    WebPDataClear(&assembled);
    return bytes;
}

void check(const heif_error& error)
{
    if (error.code != heif_error_Ok)
        std::abort();
}

/// The library's picture of an 8-bit RGB one; the caller releases it.
heif_image* interleaved(const RasterImage& image)
{
    heif_image* picture = nullptr;
    check(heif_image_create(image.width, image.height, heif_colorspace_RGB, heif_chroma_interleaved_RGB, &picture));
    check(heif_image_add_plane(picture, heif_channel_interleaved, image.width, image.height, 8));
    int stride = 0;
    std::uint8_t* const plane = heif_image_get_plane(picture, heif_channel_interleaved, &stride);
    for (int y = 0; y < image.height; ++y)
        std::memcpy(plane + y * stride, image.row(y).data(), static_cast<std::size_t>(image.width) * 3);
    return picture;
}

Bytes written(heif_context* context)
{
    Bytes bytes;
    heif_writer writer{};
    writer.writer_api_version = 1;
    writer.write = [](heif_context*, const void* data, std::size_t size, void* target) {
        const auto* const begin = static_cast<const std::byte*>(data);
        static_cast<Bytes*>(target)->assign(begin, begin + size);
        return heif_error{heif_error_Ok, heif_suberror_Unspecified, nullptr};
    };
    check(heif_context_write(context, &writer, &bytes));
    return bytes;
}

} // namespace

Bytes jpegSample(const RasterImage& image, const JpegSampleOptions& options)
{
    jpeg_error_mgr errors{};
    jpeg_compress_struct info{};
    info.err = jpeg_std_error(&errors);
    jpeg_create_compress(&info);
    unsigned char* memory = nullptr;
    unsigned long size = 0;
    jpeg_mem_dest(&info, &memory, &size);
    configureJpeg(info, image, options);
    jpeg_start_compress(&info, TRUE);
    writeMetadataMarkers(info, options);
    for (int y = 0; y < image.height; ++y) {
        std::vector<JSAMPLE> row;
        for (const std::byte value : image.row(y)) {
            const auto sample = std::to_integer<JSAMPLE>(value);
            const bool inverted = image.model == ColorModel::cmyk && options.adobeMarker;
            row.push_back(inverted ? static_cast<JSAMPLE>(255 - sample) : sample);
        }
        JSAMPROW line = row.data();
        jpeg_write_scanlines(&info, &line, 1);
    }
    jpeg_finish_compress(&info);
    jpeg_destroy_compress(&info);
    const auto* const begin = reinterpret_cast<const std::byte*>(memory);
    Bytes bytes(begin, begin + size);
    std::free(memory);
    return bytes;
}

Bytes pngSample(const RasterImage& image, const PngSampleOptions& options)
{
    PngWriter writer;
    png_set_IHDR(writer.png, writer.info, static_cast<png_uint_32>(image.width), static_cast<png_uint_32>(image.height),
                 image.bitsPerComponent, pngColorType(image),
                 options.interlaced ? PNG_INTERLACE_ADAM7 : PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT,
                 PNG_FILTER_TYPE_DEFAULT);
    setPngProperties(writer, options);
    png_write_info(writer.png, writer.info);
    if (image.bitsPerComponent == 16)
        png_set_swap(writer.png);
    PixelBuffer pixels = image.pixels;
    std::vector<png_bytep> rows;
    for (int y = 0; y < image.height; ++y)
        rows.push_back(reinterpret_cast<png_bytep>(pixels.data() + static_cast<std::size_t>(y) * image.stride));
    return writer.finish(rows);
}

Bytes indexedPngSample(int width, int height, const std::vector<std::uint8_t>& values, const PngIndexedOptions& options)
{
    PngWriter writer;
    png_set_IHDR(writer.png, writer.info, static_cast<png_uint_32>(width), static_cast<png_uint_32>(height),
                 options.bits, options.palette.empty() ? PNG_COLOR_TYPE_GRAY : PNG_COLOR_TYPE_PALETTE,
                 options.interlaced ? PNG_INTERLACE_ADAM7 : PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT,
                 PNG_FILTER_TYPE_DEFAULT);
    if (!options.palette.empty())
        setPalette(writer, options);
    if (options.transparentGray) {
        png_color_16 gray{};
        gray.gray = static_cast<png_uint_16>(*options.transparentGray);
        png_set_tRNS(writer.png, writer.info, nullptr, 0, &gray);
    }
    png_write_info(writer.png, writer.info);
    png_set_packing(writer.png);
    std::vector<std::uint8_t> copy = values;
    std::vector<png_bytep> rows;
    for (int y = 0; y < height; ++y)
        rows.push_back(copy.data() + static_cast<std::ptrdiff_t>(y) * width);
    return writer.finish(rows);
}

Bytes webpSample(const RasterImage& image, const Bytes& exif, const Bytes& iccProfile)
{
    WebPConfig config;
    WebPPicture picture;
    WebPMemoryWriter memory;
    WebPMemoryWriterInit(&memory);
    if (!WebPConfigInit(&config) || !WebPPictureInit(&picture))
        std::abort();
    config.lossless = 1;
    config.exact = 1;
    picture.use_argb = 1;
    picture.width = image.width;
    picture.height = image.height;
    picture.writer = WebPMemoryWrite;
    picture.custom_ptr = &memory;
    const auto* const pixels = reinterpret_cast<const std::uint8_t*>(image.pixels.data());
    const int stride = static_cast<int>(image.stride);
    if (!(image.hasAlpha ? WebPPictureImportRGBA(&picture, pixels, stride)
                         : WebPPictureImportRGB(&picture, pixels, stride))
        || !WebPEncode(&config, &picture))
        std::abort();
    Bytes bytes = withWebpChunks(memory, exif, iccProfile);
    WebPPictureFree(&picture);
    WebPMemoryWriterClear(&memory);
    return bytes;
}

Bytes webpAnimationSample(const std::vector<Bytes>& frames, int offset)
{
    const std::unique_ptr<WebPMux, decltype(&WebPMuxDelete)> mux(WebPMuxNew(), WebPMuxDelete);
    for (const Bytes& frame : frames) {
        WebPMuxFrameInfo info{};
        info.bitstream = {reinterpret_cast<const std::uint8_t*>(frame.data()), frame.size()};
        info.id = WEBP_CHUNK_ANMF;
        info.duration = 100;
        info.x_offset = offset;
        info.y_offset = offset;
        info.dispose_method = WEBP_MUX_DISPOSE_NONE;
        info.blend_method = WEBP_MUX_NO_BLEND;
        if (WebPMuxPushFrame(mux.get(), &info, 1) != WEBP_MUX_OK)
            std::abort();
    }
    const WebPMuxAnimParams loop{0, 0};
    WebPData file{};
    if (WebPMuxSetAnimationParams(mux.get(), &loop) != WEBP_MUX_OK || WebPMuxAssemble(mux.get(), &file) != WEBP_MUX_OK)
        std::abort();
    const auto* const begin = reinterpret_cast<const std::byte*>(file.bytes);
    Bytes bytes(begin, begin + file.size);
    WebPDataClear(&file);
    return bytes;
}

Bytes heicWithReducedPrimary(const RasterImage& image, int reducedSide)
{
    heif_context* const context = heif_context_alloc();
    heif_encoder* encoder = nullptr;
    check(heif_context_get_encoder_for_format(context, heif_compression_HEVC, &encoder));
    heif_image* const picture = interleaved(image);
    heif_image_handle* master = nullptr;
    heif_image_handle* reduced = nullptr;
    check(heif_context_encode_image(context, picture, encoder, nullptr, &master));
    check(heif_context_encode_thumbnail(context, picture, master, encoder, nullptr, reducedSide, &reduced));
    check(heif_context_set_primary_image(context, reduced));
    Bytes bytes = written(context);
    heif_image_handle_release(reduced);
    heif_image_handle_release(master);
    heif_image_release(picture);
    heif_encoder_release(encoder);
    heif_context_free(context);
    return bytes;
}

Bytes heicOfTwo(const RasterImage& primary, const RasterImage& other)
{
    heif_context* const context = heif_context_alloc();
    heif_encoder* encoder = nullptr;
    check(heif_context_get_encoder_for_format(context, heif_compression_HEVC, &encoder));
    for (const RasterImage* image : {&other, &primary}) {
        heif_image* const picture = interleaved(*image);
        heif_image_handle* handle = nullptr;
        check(heif_context_encode_image(context, picture, encoder, nullptr, &handle));
        check(heif_context_set_primary_image(context, handle));
        heif_image_handle_release(handle);
        heif_image_release(picture);
    }
    Bytes bytes = written(context);
    heif_encoder_release(encoder);
    heif_context_free(context);
    return bytes;
}

RasterImage heicByLibrary(const Bytes& file)
{
    heif_context* const context = heif_context_alloc();
    check(heif_context_read_from_memory_without_copy(context, file.data(), file.size(), nullptr));
    heif_image_handle* handle = nullptr;
    check(heif_context_get_primary_image_handle(context, &handle));
    heif_image* picture = nullptr;
    check(heif_decode_image(handle, &picture, heif_colorspace_RGB, heif_chroma_interleaved_RGB, nullptr));
    int stride = 0;
    const std::uint8_t* const plane = heif_image_get_plane_readonly(picture, heif_channel_interleaved, &stride);
    RasterImage image = RasterImage::make(heif_image_get_primary_width(picture), heif_image_get_primary_height(picture),
                                          ColorModel::rgb, false, 8)
                            .value();
    for (int y = 0; y < image.height; ++y)
        std::memcpy(image.row(y).data(), plane + y * stride, image.row(y).size());
    heif_image_release(picture);
    heif_image_handle_release(handle);
    heif_context_free(context);
    return image;
}

} // namespace Pelgra
