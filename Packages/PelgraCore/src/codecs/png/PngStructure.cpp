#include "codecs/png/PngStructure.h"

#include "codecs/BlockWrappings.h"
#include "codecs/png/PngChunks.h"
#include "codecs/png/PngDataCheck.h"

namespace Pelgra {

namespace {

class Reader {
public:
    explicit Reader(std::span<const std::byte> file)
        : m_file(file)
    {
    }

    std::optional<PngStructure> read()
    {
        if (!hasPngSignature(m_file))
            return std::nullopt;
        PngChunks chunk(m_file);
        do {
            if (!chunk.next() || !chunk.isIntact() || !take(chunk))
                return std::nullopt;
        } while (!chunk.is("IEND"));
        if (m_result.data.empty()
            || !isSoundPngData(m_result.data, m_result.rowBytes(), static_cast<std::size_t>(m_result.height)))
            return std::nullopt;
        return std::move(m_result);
    }

private:
    bool take(const PngChunks& chunk)
    {
        const bool isHeader = chunk.is("IHDR");
        const bool isData = chunk.is("IDAT");
        if ((m_result.width == 0) != isHeader || (m_dataEnded && isData) || chunk.is("tRNS"))
            return false;
        m_dataEnded = m_dataEnded || (!m_result.data.empty() && !isData);
        if (isHeader)
            return takeHeader(chunk.content());
        if (chunk.is("PLTE"))
            return takePalette(chunk.content());
        if (isData) {
            if (m_needsPalette && m_result.palette.empty())
                return false;
            m_result.data.push_back(chunk.content());
        }
        return isData || chunk.is("IEND") || !chunk.isCritical();
    }

    bool takeHeader(std::span<const std::byte> content)
    {
        if (content.size() != 13)
            return false;
        const std::size_t width = bigEndianNumber(content, 0, 4);
        const std::size_t height = bigEndianNumber(content, 4, 4);
        const int bits = std::to_integer<int>(content[8]);
        const int colorType = std::to_integer<int>(content[9]);
        const bool isPlain = bigEndianNumber(content, 9, 4) == static_cast<std::size_t>(colorType) << 24;
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
    PngChunks chunk(file);
    while (chunk.next()) {
        if (chunk.is("IDAT"))
            data.push_back(chunk.content());
    }
    return data;
}

} // namespace Pelgra
