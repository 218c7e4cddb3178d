#include "codecs/png/PngStructure.h"

#include "codecs/Deflate.h"
#include "codecs/png/PngDataCheck.h"

#include <cstdint>
#include <cstring>
#include <string_view>

namespace Pelgra {

namespace {

constexpr std::size_t signatureSize = 8;
constexpr std::size_t chunkOverhead = 12; ///< length, type and checksum

std::uint32_t number(std::span<const std::byte> bytes)
{
    std::uint32_t value = 0;
    for (std::byte byte : bytes.first(4))
        value = value << 8 | std::to_integer<std::uint32_t>(byte);
    return value;
}

struct Chunk {
    std::string_view type;
    std::span<const std::byte> content;
    bool isSound = false;
};

/// The chunk at the beginning of the bytes; none when they do not hold it whole.
std::optional<Chunk> chunkAt(std::span<const std::byte> bytes)
{
    if (bytes.size() < chunkOverhead || number(bytes) > bytes.size() - chunkOverhead)
        return std::nullopt;
    const std::size_t length = number(bytes);
    Chunk chunk;
    chunk.type = {reinterpret_cast<const char*>(bytes.data()) + 4, 4};
    chunk.content = bytes.subspan(8, length);
    chunk.isSound = Deflate::crc32(0, bytes.subspan(4, length + 4)) == number(bytes.subspan(length + 8));
    return chunk;
}

class Reader {
public:
    explicit Reader(std::span<const std::byte> file)
        : m_file(file)
    {
    }

    std::optional<PngStructure> read()
    {
        if (m_file.size() < signatureSize || std::memcmp(m_file.data(), "\x89PNG\r\n\x1A\n", signatureSize) != 0)
            return std::nullopt;
        for (auto rest = m_file.subspan(signatureSize);;) {
            const std::optional<Chunk> chunk = chunkAt(rest);
            if (!chunk || !chunk->isSound || !take(*chunk))
                return std::nullopt;
            if (chunk->type == "IEND")
                break;
            rest = rest.subspan(chunkOverhead + chunk->content.size());
        }
        if (m_result.data.empty()
            || !isSoundPngData(m_result.data, m_result.rowBytes(), static_cast<std::size_t>(m_result.height)))
            return std::nullopt;
        return std::move(m_result);
    }

private:
    bool take(const Chunk& chunk)
    {
        const bool isData = chunk.type == "IDAT";
        if ((m_result.width == 0) != (chunk.type == "IHDR") || (m_dataEnded && isData) || chunk.type == "tRNS")
            return false;
        m_dataEnded = m_dataEnded || (!m_result.data.empty() && !isData);
        if (chunk.type == "IHDR")
            return takeHeader(chunk.content);
        if (chunk.type == "PLTE")
            return takePalette(chunk.content);
        if (isData) {
            if (m_needsPalette && m_result.palette.empty())
                return false;
            m_result.data.push_back(chunk.content);
        }
        // Unknown chunks are passed over unless the fifth bit says that the picture needs them.
        return isData || chunk.type == "IEND" || (chunk.type[0] & 0x20) != 0;
    }

    bool takeHeader(std::span<const std::byte> content)
    {
        if (content.size() != 13)
            return false;
        const std::uint32_t width = number(content);
        const std::uint32_t height = number(content.subspan(4));
        const int bits = std::to_integer<int>(content[8]);
        const int colorType = std::to_integer<int>(content[9]);
        const bool isPlain = number(content.subspan(9)) == static_cast<std::uint32_t>(colorType) << 24;
        const bool isKnown = (colorType == 0 && (bits == 1 || bits == 2 || bits == 4 || bits == 8 || bits == 16))
            || (colorType == 2 && (bits == 8 || bits == 16))
            || (colorType == 3 && (bits == 1 || bits == 2 || bits == 4 || bits == 8));
        const std::size_t bytesPerPixel = (colorType == 0 ? 1U : 3U) * (bits == 16 ? 2U : 1U);
        if (!isPlain || !isKnown || !RasterImage::fits(width, height, bytesPerPixel))
            return false;
        m_result.width = static_cast<int>(width);
        m_result.height = static_cast<int>(height);
        m_result.bitsPerComponent = bits;
        m_result.isGray = colorType == 0;
        m_needsPalette = colorType == 3;
        return true;
    }

    bool takePalette(std::span<const std::byte> content)
    {
        if (!m_result.data.empty() || !m_result.palette.empty())
            return false;
        if (!m_needsPalette)
            return !m_result.isGray; // a suggestion for displays with few colours
        const std::size_t limit = std::size_t{3} << m_result.bitsPerComponent;
        m_result.palette = content;
        return !content.empty() && content.size() % 3 == 0 && content.size() <= limit;
    }

    std::span<const std::byte> m_file;
    bool m_needsPalette = false;
    bool m_dataEnded = false;
    PngStructure m_result;
};

} // namespace

std::optional<PngStructure> readPngStructure(std::span<const std::byte> file)
{
    return Reader(file).read();
}

std::vector<std::span<const std::byte>> pngDataOf(std::span<const std::byte> file)
{
    std::vector<std::span<const std::byte>> data;
    for (auto rest = file.subspan(signatureSize); rest.size() >= chunkOverhead;) {
        const std::size_t length = number(rest);
        if (std::memcmp(rest.data() + 4, "IDAT", 4) == 0)
            data.push_back(rest.subspan(8, length));
        rest = rest.subspan(chunkOverhead + length);
    }
    return data;
}

} // namespace Pelgra
