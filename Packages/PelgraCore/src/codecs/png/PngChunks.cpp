#include "codecs/png/PngChunks.h"

#include "codecs/BlockWrappings.h"
#include "metadata/ExifFields.h"
#include "metadata/MetadataBlocks.h"

#include <algorithm>
#include <utility>

#include <libdeflate.h>
#include <zlib.h>

namespace Pelgra {

namespace {

using namespace std::string_view_literals;
using ByteSpan = std::span<const std::byte>;

/// Inflates the blocks of one file. The sum of what comes out is limited: any number of blocks may be damaged, or of a
/// kind of which one counts.
class Inflation {
public:
    /// The content of a zlib stream; empty where it is damaged or too large.
    Bytes operator()(ByteSpan compressed)
    {
        z_stream stream{};
        if (m_left == 0 || inflateInit(&stream) != Z_OK)
            return {};
        // The interface lacks const, but the library does not write here.
        stream.next_in = reinterpret_cast<Bytef*>(const_cast<std::byte*>(compressed.data()));
        stream.avail_in = static_cast<uInt>(compressed.size());
        Bytes content;
        int status = Z_OK;
        while (status == Z_OK && content.size() < std::min(inflatedLimit, m_left)) {
            const std::size_t filled = content.size();
            content.resize(filled + std::max<std::size_t>(filled, 4096));
            stream.next_out = reinterpret_cast<Bytef*>(content.data() + filled);
            stream.avail_out = static_cast<uInt>(content.size() - filled);
            status = inflate(&stream, Z_NO_FLUSH);
            content.resize(content.size() - stream.avail_out);
        }
        inflateEnd(&stream);
        m_left -= std::min(m_left, content.size());
        return status == Z_STREAM_END ? content : Bytes();
    }

private:
    /// More than any real profile or metadata block; compressed text can be a thousand times its size.
    static constexpr std::size_t inflatedLimit = std::size_t{16} << 20;

    std::size_t m_left = 4 * inflatedLimit;
};

std::string_view textOf(ByteSpan bytes)
{
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

Bytes copyOf(ByteSpan bytes)
{
    return {bytes.begin(), bytes.end()};
}

/// Splits off what comes before the next zero byte; the rest is what comes after it.
ByteSpan takeTerminated(ByteSpan& rest)
{
    const auto end = std::find(rest.begin(), rest.end(), std::byte{0});
    const auto size = static_cast<std::size_t>(end - rest.begin());
    const ByteSpan taken = rest.first(size);
    rest = rest.subspan(std::min(rest.size(), size + 1));
    return taken;
}

void readDensity(ByteSpan content, PngProperties& properties)
{
    if (content.size() < 9 || content[8] != std::byte{1})
        return; // without the unit it is only the shape of a pixel
    const double dpiX = dotsPerInchFrom(static_cast<double>(bigEndianNumber(content, 0, 4)));
    const double dpiY = dotsPerInchFrom(static_cast<double>(bigEndianNumber(content, 4, 4)));
    if (isUsableResolution(dpiX))
        properties.dpiX = dpiX;
    if (isUsableResolution(dpiY))
        properties.dpiY = dpiY;
}

constexpr auto rawProfilePrefix = "Raw profile type "sv;

/// Whether a text holds a block that is still missing; the first of each kind counts.
bool isWanted(std::string_view keyword, const PngProperties& properties)
{
    if (!keyword.starts_with(rawProfilePrefix))
        return false;
    const std::string_view kind = keyword.substr(rawProfilePrefix.size());
    return ((kind == "exif" || kind == "APP1") && properties.exif.empty())
        || (kind == "iptc" && properties.iptc.empty()) || (kind == "xmp" && properties.xmp.empty());
}

void readRawProfile(std::string_view keyword, std::string_view text, PngProperties& properties)
{
    const std::string_view kind = keyword.substr(rawProfilePrefix.size());
    Bytes bytes = rawProfileBytes(text);
    if (kind == "xmp") {
        properties.xmp = std::move(bytes);
    } else if (kind != "iptc") {
        const ByteSpan exif = withoutExifPrefix(bytes);
        if (startsWith(exif, "II") || startsWith(exif, "MM"))
            properties.exif = copyOf(exif);
    } else if (startsWith(bytes, "8BIM")) {
        appendIptc(bytes, properties.iptc);
    } else {
        properties.iptc = std::move(bytes);
    }
}

void readText(ByteSpan content, bool isCompressed, Inflation& inflated, PngProperties& properties)
{
    const std::string_view keyword = textOf(takeTerminated(content));
    if (!isWanted(keyword, properties) || content.empty())
        return;
    if (!isCompressed)
        readRawProfile(keyword, textOf(content), properties);
    else if (const Bytes bytes = inflated(content.subspan(1)); !bytes.empty())
        readRawProfile(keyword, textOf(bytes), properties);
}

/// The text of an iTXt chunk after its keyword.
Bytes internationalText(ByteSpan content, Inflation& inflated)
{
    if (content.size() < 2)
        return {};
    const bool isCompressed = content[0] != std::byte{0};
    content = content.subspan(2);
    takeTerminated(content); // language
    takeTerminated(content); // translated keyword
    return isCompressed ? inflated(content) : copyOf(content);
}

void readInternationalText(ByteSpan content, Inflation& inflated, PngProperties& properties)
{
    const std::string_view keyword = textOf(takeTerminated(content));
    if (keyword == "XML:com.adobe.xmp" && properties.xmp.empty())
        properties.xmp = internationalText(content, inflated);
}

void readProfile(ByteSpan content, Inflation& inflated, PngProperties& properties)
{
    takeTerminated(content); // its name
    if (content.size() > 1 && properties.iccProfile.empty())
        properties.iccProfile = inflated(content.subspan(1));
}

void readChromaticities(ByteSpan content, PngProperties& properties)
{
    if (content.size() != 32)
        return;
    std::array<double, 8> values{};
    for (std::size_t index = 0; index < values.size(); ++index)
        values[index] = static_cast<double>(bigEndianNumber(content, index * 4, 4)) / 100000;
    properties.chromaticities = values;
}

void readChunk(const PngChunks& chunk, Inflation& inflated, PngProperties& properties)
{
    const ByteSpan content = chunk.content();
    if (chunk.is("pHYs"))
        readDensity(content, properties);
    else if (chunk.is("eXIf"))
        properties.exif = copyOf(withoutExifPrefix(content));
    else if (chunk.is("iCCP"))
        readProfile(content, inflated, properties);
    else if (chunk.is("tEXt") || chunk.is("zTXt"))
        readText(content, chunk.is("zTXt"), inflated, properties);
    else if (chunk.is("iTXt"))
        readInternationalText(content, inflated, properties);
    else if (chunk.is("sRGB"))
        properties.isSrgb = true;
    else if (chunk.is("gAMA") && content.size() == 4 && bigEndianNumber(content, 0, 4) > 0)
        properties.gamma = static_cast<double>(bigEndianNumber(content, 0, 4)) / 100000;
    else if (chunk.is("cHRM"))
        readChromaticities(content, properties);
}

bool isProperty(const PngChunks& chunk)
{
    constexpr std::array<std::string_view, 9> types{"pHYs", "eXIf", "iCCP", "tEXt", "zTXt",
                                                    "iTXt", "sRGB", "gAMA", "cHRM"};
    return std::any_of(types.begin(), types.end(), [&](std::string_view type) { return chunk.is(type); });
}

} // namespace

bool hasPngSignature(ByteSpan file)
{
    return startsWith(file, "\x89PNG\r\n\x1A\n"sv);
}

PngChunks::PngChunks(ByteSpan file)
    : m_rest(file.subspan(std::min<std::size_t>(file.size(), 8)))
{
}

bool PngChunks::next()
{
    if (m_rest.size() < 8)
        return false;
    const std::size_t length = bigEndianNumber(m_rest, 0, 4);
    m_type = m_rest.subspan(4, 4);
    m_content = m_rest.subspan(8, std::min(length, m_rest.size() - 8));
    m_rest = m_rest.subspan(8 + m_content.size());
    m_checksum = m_rest.first(std::min<std::size_t>(m_rest.size(), m_content.size() == length ? 4 : 0));
    m_rest = m_rest.subspan(m_checksum.size());
    return true;
}

bool PngChunks::is(std::string_view type) const
{
    return startsWith(m_type, type);
}

bool PngChunks::isCritical() const
{
    return (m_type[0] & std::byte{0x20}) == std::byte{0}; // an upper-case letter
}

bool PngChunks::isIntact() const
{
    if (m_checksum.size() < 4)
        return false;
    std::uint32_t checksum = libdeflate_crc32(0, m_type.data(), m_type.size());
    checksum = libdeflate_crc32(checksum, m_content.data(), m_content.size());
    return checksum == bigEndianNumber(m_checksum, 0, 4);
}

PngProperties readPngProperties(ByteSpan file)
{
    PngProperties properties;
    Inflation inflation;
    PngChunks chunk(file);
    while (chunk.next()) {
        if (isProperty(chunk) && chunk.isIntact())
            readChunk(chunk, inflation, properties);
    }
    return properties;
}

std::optional<std::string> readPngText(ByteSpan file, std::string_view keyword)
{
    Inflation inflated;
    PngChunks chunk(file);
    while (chunk.next()) {
        ByteSpan content = chunk.content();
        const bool isText = chunk.is("tEXt") || chunk.is("zTXt") || chunk.is("iTXt");
        if (!isText || textOf(takeTerminated(content)) != keyword || !chunk.isIntact())
            continue;
        Bytes text;
        if (chunk.is("iTXt"))
            text = internationalText(content, inflated);
        else if (chunk.is("tEXt"))
            text = copyOf(content);
        else if (!content.empty())
            text = inflated(content.subspan(1));
        return std::string(textOf(text));
    }
    return std::nullopt;
}

} // namespace Pelgra
