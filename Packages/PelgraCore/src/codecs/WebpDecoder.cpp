#include "codecs/WebpDecoder.h"

#include "codecs/BlockWrappings.h"
#include "metadata/ExifFields.h"

#include <algorithm>
#include <cstring>
#include <memory>

#include <webp/decode.h>
#include <webp/demux.h>

namespace Pelgra {

namespace {

struct DemuxerDeleter {
    void operator()(WebPDemuxer* demuxer) const { WebPDemuxDelete(demuxer); }
};
using Demuxer = std::unique_ptr<WebPDemuxer, DemuxerDeleter>;

/// The first frame. Its iterator borrows the file's bytes.
class FirstFrame {
public:
    explicit FirstFrame(const WebPDemuxer* demuxer)
        : m_isValid(WebPDemuxGetFrame(demuxer, 1, &m_frame) != 0)
    {
    }
    FirstFrame(const FirstFrame&) = delete;
    FirstFrame& operator=(const FirstFrame&) = delete;
    ~FirstFrame() { WebPDemuxReleaseIterator(&m_frame); }

    explicit operator bool() const { return m_isValid; }
    const WebPIterator* operator->() const { return &m_frame; }

private:
    WebPIterator m_frame{};
    bool m_isValid;
};

Bytes chunk(const WebPDemuxer* demuxer, const char* name)
{
    WebPChunkIterator iterator{};
    Bytes content;
    if (WebPDemuxGetChunk(demuxer, name, 1, &iterator)) {
        const auto* const begin = reinterpret_cast<const std::byte*>(iterator.chunk.bytes);
        content.assign(begin, begin + iterator.chunk.size);
    }
    WebPDemuxReleaseChunkIterator(&iterator);
    return content;
}

/// Decodes straight to the frame's place on the canvas.
void decodeFrame(const FirstFrame& frame, RasterImage& canvas)
{
    WebPDecoderConfig config;
    if (!WebPInitDecoderConfig(&config))
        throw DecodeError("WebP: another version of the library");
    const std::size_t offset = static_cast<std::size_t>(frame->y_offset) * canvas.stride
        + static_cast<std::size_t>(frame->x_offset) * canvas.bytesPerPixel();
    config.output.colorspace = canvas.hasAlpha ? MODE_RGBA : MODE_RGB;
    config.output.is_external_memory = 1;
    config.output.u.RGBA.rgba = reinterpret_cast<std::uint8_t*>(canvas.pixels.data() + offset);
    config.output.u.RGBA.stride = static_cast<int>(canvas.stride);
    config.output.u.RGBA.size = canvas.pixels.size() - offset;
    if (WebPDecode(frame->fragment.bytes, frame->fragment.size, &config) != VP8_STATUS_OK)
        throw DecodeError("WebP: the picture is damaged");
}

RasterImage decodeCanvas(const WebPDemuxer* demuxer)
{
    const FirstFrame frame(demuxer);
    if (!frame)
        throw DecodeError("WebP: no picture");
    const int width = static_cast<int>(WebPDemuxGetI(demuxer, WEBP_FF_CANVAS_WIDTH));
    const int height = static_cast<int>(WebPDemuxGetI(demuxer, WEBP_FF_CANVAS_HEIGHT));
    const bool covers =
        frame->x_offset == 0 && frame->y_offset == 0 && frame->width == width && frame->height == height;
    std::optional<RasterImage> canvas =
        RasterImage::make(width, height, ColorModel::rgb, !covers || frame->has_alpha != 0, 8);
    if (!canvas)
        throw DecodeError("WebP: too large");
    if (!covers)
        std::fill(canvas->pixels.begin(), canvas->pixels.end(), std::byte{0});
    decodeFrame(frame, *canvas);
    return std::move(*canvas);
}

struct AnimationDeleter {
    void operator()(WebPAnimDecoder* decoder) const { WebPAnimDecoderDelete(decoder); }
};

/// The canvas with a frame later than the first.
RasterImage decodeLaterFrame(const WebPData& data, int index)
{
    WebPAnimDecoderOptions options;
    if (!WebPAnimDecoderOptionsInit(&options))
        throw DecodeError("WebP: another version of the library");
    options.color_mode = MODE_RGBA;
    const std::unique_ptr<WebPAnimDecoder, AnimationDeleter> decoder(WebPAnimDecoderNew(&data, &options));
    WebPAnimInfo info{};
    if (!decoder || !WebPAnimDecoderGetInfo(decoder.get(), &info))
        throw DecodeError("WebP: the file is damaged");
    std::uint8_t* pixels = nullptr;
    int time = 0;
    for (int frame = 0; frame <= index; ++frame) {
        if (!WebPAnimDecoderGetNext(decoder.get(), &pixels, &time))
            throw DecodeError("WebP: the picture is damaged");
    }
    std::optional<RasterImage> canvas = RasterImage::make(
        static_cast<int>(info.canvas_width), static_cast<int>(info.canvas_height), ColorModel::rgb, true, 8);
    if (!canvas)
        throw DecodeError("WebP: too large");
    const std::size_t rowBytes = std::size_t{info.canvas_width} * 4;
    for (int y = 0; y < canvas->height; ++y)
        std::memcpy(canvas->row(y).data(), pixels + static_cast<std::size_t>(y) * rowBytes, rowBytes);
    return std::move(*canvas);
}

RasterImage decodeFrameAt(const WebPDemuxer* demuxer, const WebPData& data, int index)
{
    const bool exists = index > 0 && static_cast<std::uint32_t>(index) < WebPDemuxGetI(demuxer, WEBP_FF_FRAME_COUNT);
    return exists ? decodeLaterFrame(data, index) : decodeCanvas(demuxer);
}

} // namespace

DecodedImage decodeWebp(std::span<const std::byte> file, int index)
{
    const WebPData data{reinterpret_cast<const std::uint8_t*>(file.data()), file.size()};
    const Demuxer demuxer(WebPDemux(&data));
    if (!demuxer)
        throw DecodeError("WebP: the file is damaged");
    DecodedImage decoded;
    decoded.image = decodeFrameAt(demuxer.get(), data, index);
    decoded.image.iccProfile = chunk(demuxer.get(), "ICCP");
    const Bytes exif = chunk(demuxer.get(), "EXIF");
    const auto structure = withoutExifPrefix(exif);
    decoded.exif.assign(structure.begin(), structure.end());
    decoded.xmp = chunk(demuxer.get(), "XMP ");
    const ExifFields fields = readExifFields(decoded.exif);
    decoded.orientation = fields.orientation;
    decoded.dpiX = fields.dpiX;
    decoded.dpiY = fields.dpiY;
    return decoded;
}

} // namespace Pelgra
