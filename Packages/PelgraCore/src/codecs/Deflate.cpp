#include "codecs/Deflate.h"

#include <memory>
#include <new>
#include <stdexcept>

#include <isa-l/igzip_lib.h>
#include <libdeflate.h>
#include <zlib.h>

namespace Pelgra::Deflate {

namespace {

constexpr int thoroughLevel = 6;

struct CompressorDeleter {
    void operator()(libdeflate_compressor* compressor) const { libdeflate_free_compressor(compressor); }
};

/// A growing output for libraries that fill a given space.
class Output {
public:
    explicit Output(std::size_t expected) { m_bytes.resize(expected); }
    std::uint8_t* place() { return reinterpret_cast<std::uint8_t*>(m_bytes.data()) + m_used; }
    std::size_t space() const { return m_bytes.size() - m_used; }
    void take(std::size_t count) { m_used += count; }
    void grow() { m_bytes.resize(m_bytes.size() + m_bytes.size() / 2 + 1024); }
    PixelBuffer finish()
    {
        m_bytes.resize(m_used);
        return std::move(m_bytes);
    }

private:
    PixelBuffer m_bytes;
    std::size_t m_used = 0;
};

/// The library's state with the memory its level needs.
struct QuickStream {
    isal_zstream stream;
    std::uint8_t levelBuffer[ISAL_DEF_LVL3_DEFAULT];
};

PixelBuffer quick(std::span<const std::byte> data, bool last, std::uint16_t format)
{
    const auto state = std::make_unique_for_overwrite<QuickStream>();
    isal_zstream& stream = state->stream;
    isal_deflate_init(&stream);
    stream.level = 3;
    stream.level_buf = state->levelBuffer;
    stream.level_buf_size = sizeof state->levelBuffer;
    stream.gzip_flag = format;
    stream.flush = last ? NO_FLUSH : SYNC_FLUSH;
    stream.end_of_stream = last ? 1 : 0;
    stream.next_in = const_cast<std::uint8_t*>(reinterpret_cast<const std::uint8_t*>(data.data()));
    stream.avail_in = static_cast<std::uint32_t>(data.size());
    Output output(data.size() + data.size() / 64 + 1024);
    for (;;) {
        const auto space = static_cast<std::uint32_t>(output.space());
        stream.next_out = output.place();
        stream.avail_out = space;
        if (isal_deflate(&stream) != COMP_OK)
            throw std::runtime_error("compression failed");
        output.take(space - stream.avail_out);
        if (stream.avail_out > 0)
            return output.finish();
        output.grow();
    }
}

PixelBuffer thoroughPart(std::span<const std::byte> data, bool last)
{
    constexpr int rawDeflate = -15;
    z_stream stream{};
    if (deflateInit2(&stream, thoroughLevel, Z_DEFLATED, rawDeflate, 9, Z_DEFAULT_STRATEGY) != Z_OK)
        throw std::bad_alloc();
    const std::unique_ptr<z_stream, int (*)(z_stream*)> guard(&stream, deflateEnd);
    stream.next_in = const_cast<Bytef*>(reinterpret_cast<const Bytef*>(data.data()));
    stream.avail_in = static_cast<uInt>(data.size());
    Output output(data.size() / 4 + 1024);
    for (;;) {
        const auto space = static_cast<uInt>(output.space());
        stream.next_out = output.place();
        stream.avail_out = space;
        const int result = deflate(&stream, last ? Z_FINISH : Z_SYNC_FLUSH);
        output.take(space - stream.avail_out);
        if (result == Z_STREAM_END || (!last && stream.avail_out > 0))
            return output.finish();
        if (result != Z_OK && result != Z_BUF_ERROR)
            throw std::runtime_error("compression failed");
        output.grow();
    }
}

} // namespace

PixelBuffer stream(std::span<const std::byte> data, Effort effort)
{
    if (effort == Effort::quick)
        return quick(data, true, IGZIP_ZLIB);
    const std::unique_ptr<libdeflate_compressor, CompressorDeleter> compressor(
        libdeflate_alloc_compressor(thoroughLevel));
    if (!compressor)
        throw std::bad_alloc();
    PixelBuffer out;
    out.resize(libdeflate_zlib_compress_bound(compressor.get(), data.size()));
    const std::size_t size =
        libdeflate_zlib_compress(compressor.get(), data.data(), data.size(), out.data(), out.size());
    if (size == 0)
        throw std::runtime_error("compression failed");
    out.resize(size);
    return out;
}

PixelBuffer part(std::span<const std::byte> data, bool last, Effort effort)
{
    return effort == Effort::quick ? quick(data, last, IGZIP_DEFLATE) : thoroughPart(data, last);
}

std::uint32_t adler32(std::span<const std::byte> data)
{
    return libdeflate_adler32(adler32OfNothing, data.data(), data.size());
}

std::uint32_t joinedAdler32(std::uint32_t first, std::uint32_t second, std::size_t secondSize)
{
    return static_cast<std::uint32_t>(adler32_combine(first, second, static_cast<z_off_t>(secondSize)));
}

std::uint32_t crc32(std::uint32_t before, std::span<const std::byte> data)
{
    // Given no buffer, the library forgets what came before.
    return data.empty() ? before : libdeflate_crc32(before, data.data(), data.size());
}

} // namespace Pelgra::Deflate
