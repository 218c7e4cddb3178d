#include "codecs/jpeg/JpegStructure.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace Pelgra {

namespace {

enum Marker : std::uint8_t {
    SOF0 = 0xC0,
    SOF1 = 0xC1,
    SOF2 = 0xC2,
    DHT = 0xC4,
    RST0 = 0xD0,
    RST7 = 0xD7,
    SOI = 0xD8,
    EOI = 0xD9,
    SOS = 0xDA,
    DQT = 0xDB,
    DRI = 0xDD,
    APP0 = 0xE0,
    APP2 = 0xE2,
    APP14 = 0xEE,
    APP15 = 0xEF,
    COM = 0xFE,
};

/// Thrown and caught inside this file for what is not accepted.
struct Unsound { };

void require(bool condition)
{
    if (!condition)
        throw Unsound();
}

/// A JFIF segment without a thumbnail and with square pixels: what says that the components are YCbCr or grey.
constexpr std::array<std::uint8_t, 18> plainJfif{0xFF, 0xE0, 0, 16, 'J', 'F', 'I', 'F', 0, 1, 1, 0, 0, 1, 0, 1, 0, 0};

struct Component {
    int name = 0;
    int blocks = 0; ///< of one interleaved unit
    int quantTable = 0;
    bool wasScanned = false;
};

class Reader {
public:
    explicit Reader(std::span<const std::byte> file)
        : m_file(file)
    {
    }

    JpegStructure read()
    {
        require(m_file.size() > 4 && byte(0) == 0xFF && byte(1) == SOI);
        m_position = 2;
        m_result.parts.push_back(m_file.first(2));
        while (takeSegment()) { }
        require(!m_components.empty() && std::all_of(m_components.begin(), m_components.end(), [](const Component& c) {
            return c.wasScanned;
        }));
        // Where the two disagree, decoders do too.
        require(!(m_jfif && m_adobeTransform == 0 && m_components.size() == 3));
        m_result.isNamedRGB = !m_jfif && !m_result.hasAdobeSegment && m_components.size() == 3
            && m_components[0].name == 'R' && m_components[1].name == 'G' && m_components[2].name == 'B';
        joinProfile();
        return std::move(m_result);
    }

private:
    std::uint8_t byte(std::size_t position) const
    {
        require(position < m_file.size());
        return std::to_integer<std::uint8_t>(m_file[position]);
    }
    int word(std::size_t position) const { return byte(position) << 8 | byte(position + 1); }

    /// Takes one marker with its segment; false at the end of the image.
    bool takeSegment()
    {
        require(byte(m_position) == 0xFF);
        while (byte(m_position + 1) == 0xFF)
            ++m_position; // fill bytes
        const std::uint8_t marker = byte(m_position + 1);
        if (marker == EOI) {
            m_result.parts.push_back(m_file.subspan(m_position, 2));
            return false;
        }
        const auto length = static_cast<std::size_t>(word(m_position + 2));
        require(length >= 2 && m_position + 2 + length <= m_file.size());
        const std::size_t begin = m_position;
        m_body = m_position + 4;
        m_bodyEnd = m_position + 2 + length;
        m_position = m_bodyEnd;
        if (takeContent(marker))
            m_result.parts.push_back(m_file.subspan(begin, m_position - begin));
        return true;
    }

    /// Whether the segment is to be kept.
    bool takeContent(std::uint8_t marker)
    {
        switch (marker) {
        case SOF0:
        case SOF1:
        case SOF2:
            takeFrame(marker == SOF2);
            return true;
        case DHT:
            takeHuffmanTables();
            return true;
        case DQT:
            takeQuantTables();
            return true;
        case DRI:
            require(m_bodyEnd - m_body == 2);
            return true;
        case SOS:
            takeScan();
            return true;
        case APP14:
            return takeAdobe();
        case APP0:
            takeJfif();
            return false;
        case APP2:
            takeProfilePart();
            return false;
        default:
            require((marker > APP0 && marker <= APP15) || marker == COM);
            return false;
        }
    }

    bool beginsWith(std::string_view text) const
    {
        return m_bodyEnd - m_body >= text.size() && std::memcmp(m_file.data() + m_body, text.data(), text.size()) == 0;
    }

    void takeFrame(bool progressive)
    {
        require(m_components.empty() && m_bodyEnd - m_body >= 6 && byte(m_body) == 8);
        m_progressive = progressive;
        m_result.height = word(m_body + 1);
        m_result.width = word(m_body + 3);
        m_result.componentCount = byte(m_body + 5);
        const auto count = static_cast<std::size_t>(m_result.componentCount);
        require((count == 1 || count == 3 || count == 4) && m_bodyEnd - m_body == 6 + 3 * count);
        require(m_result.width > 0 && m_result.height > 0 && m_result.width <= 65500 && m_result.height <= 65500);
        for (std::size_t at = m_body + 6; at < m_bodyEnd; at += 3) {
            const int across = byte(at + 1) >> 4;
            const int down = byte(at + 1) & 15;
            require(across >= 1 && across <= 4 && down >= 1 && down <= 4 && byte(at + 2) <= 3);
            const int name = byte(at);
            require(std::none_of(m_components.begin(), m_components.end(),
                                 [name](const Component& c) { return c.name == name; }));
            m_components.push_back({name, across * down, byte(at + 2), false});
        }
    }

    void takeHuffmanTables()
    {
        std::size_t at = m_body;
        while (at < m_bodyEnd) {
            const int kind = byte(at) >> 4;
            const int index = byte(at) & 15;
            require(kind <= 1 && index <= 3 && at + 17 <= m_bodyEnd);
            unsigned code = 0;
            std::size_t total = 0;
            for (unsigned length = 1; length <= 16; ++length) {
                const std::size_t count = byte(at + length);
                total += count;
                // No code consists of ones alone (T.81, annex C).
                code = code * 2 + static_cast<unsigned>(count);
                require(count == 0 || code < 1U << length);
            }
            require(total <= 256 && at + 17 + total <= m_bodyEnd);
            for (std::size_t i = 0; kind == 0 && i < total; ++i)
                require(byte(at + 17 + i) <= 15);
            m_huffmanTables[static_cast<std::size_t>(kind)][static_cast<std::size_t>(index)] = true;
            at += 17 + total;
        }
    }

    void takeQuantTables()
    {
        std::size_t at = m_body;
        while (at < m_bodyEnd) {
            const int precision = byte(at) >> 4;
            const int index = byte(at) & 15;
            require(precision <= 1 && index <= 3);
            m_quantTables[static_cast<std::size_t>(index)] = true;
            at += precision == 0 ? 65 : 129;
        }
        require(at == m_bodyEnd);
    }

    void takeScan()
    {
        require(m_bodyEnd - m_body >= 6);
        const std::size_t count = byte(m_body);
        require(count >= 1 && count <= 4 && m_bodyEnd - m_body == 4 + 2 * count);
        const int first = byte(m_bodyEnd - 3);
        const int last = byte(m_bodyEnd - 2);
        const int high = byte(m_bodyEnd - 1) >> 4;
        const int low = byte(m_bodyEnd - 1) & 15;
        if (m_progressive) {
            require(first == 0 ? last == 0 : count == 1 && last >= first && last <= 63);
            require(low <= 13 && (high == 0 || high == low + 1));
        } else {
            require(first == 0 && last == 63 && high == 0 && low == 0);
        }
        const bool needsDirect = first == 0 && high == 0;
        const bool needsAlternating = last > 0;
        int blocks = 0;
        for (std::size_t i = 0; i < count; ++i) {
            const int tables = byte(m_body + 2 + 2 * i);
            require((tables >> 4) <= 3 && (tables & 15) <= 3);
            require(!needsDirect || m_huffmanTables[0][static_cast<std::size_t>(tables >> 4)]);
            require(!needsAlternating || m_huffmanTables[1][static_cast<std::size_t>(tables & 15)]);
            blocks += takeScanComponent(byte(m_body + 1 + 2 * i), needsDirect);
        }
        require(count == 1 || blocks <= 10);
        // More scans than any program writes are a way to keep decoders busy.
        require(++m_scanCount <= 20);
        const std::size_t size = skipEntropyCodedData();
        if (needsDirect)
            checkCodedSize(size);
    }

    /// The number of its blocks in an interleaved unit.
    int takeScanComponent(int name, bool isFirstScan)
    {
        const auto found = std::find_if(m_components.begin(), m_components.end(),
                                        [name](const Component& c) { return c.name == name; });
        require(found != m_components.end() && m_quantTables[static_cast<std::size_t>(found->quantTable)]);
        // A refinement of what was never coded.
        require(isFirstScan || found->wasScanned);
        found->wasScanned = true;
        return found->blocks;
    }

    /// Where data ends early, decoders differ in what they show for the rest; even a block of one colour takes a bit
    /// for each band of its coefficients.
    void checkCodedSize(std::size_t size) const
    {
        const std::size_t blocks =
            static_cast<std::size_t>(m_result.width / 8) * static_cast<std::size_t>(m_result.height / 8);
        require(size * 8 >= blocks * (m_progressive ? 1 : 2));
    }

    /// Goes on to the next marker that is not a restart. Returns the number of bytes before it.
    std::size_t skipEntropyCodedData()
    {
        const std::size_t begin = m_position;
        for (;;) {
            const void* const found = std::memchr(m_file.data() + m_position, 0xFF, m_file.size() - m_position);
            require(found != nullptr);
            m_position = static_cast<std::size_t>(static_cast<const std::byte*>(found) - m_file.data());
            const std::uint8_t next = byte(m_position + 1);
            if (next == 0xFF)
                ++m_position;
            else if (next == 0 || (next >= RST0 && next <= RST7))
                m_position += 2;
            else
                break;
        }
        require(m_position > begin);
        return m_position - begin;
    }

    bool takeAdobe()
    {
        if (!beginsWith("Adobe") || m_bodyEnd - m_body < 12)
            return false;
        m_result.hasAdobeSegment = true;
        m_adobeTransform = byte(m_body + 11);
        return true;
    }

    void takeJfif()
    {
        if (m_jfif || m_bodyEnd - m_body < 14 || !beginsWith(std::string_view("JFIF", 5)))
            return;
        m_jfif = true;
        m_result.parts.push_back(std::as_bytes(std::span(plainJfif)));
    }

    void takeProfilePart()
    {
        if (beginsWith(std::string_view("ICC_PROFILE", 12)) && m_bodyEnd - m_body > 14)
            m_profileParts.push_back(m_file.subspan(m_body + 12, m_bodyEnd - m_body - 12));
    }

    /// Each part begins with its number from 1 and the number of parts.
    void joinProfile()
    {
        std::sort(m_profileParts.begin(), m_profileParts.end(),
                  [](const auto& a, const auto& b) { return a[0] < b[0]; });
        for (std::size_t i = 0; i < m_profileParts.size(); ++i)
            if (std::to_integer<std::size_t>(m_profileParts[i][0]) != i + 1
                || std::to_integer<std::size_t>(m_profileParts[i][1]) != m_profileParts.size())
                return;
        for (const auto& part : m_profileParts)
            m_result.iccProfile.insert(m_result.iccProfile.end(), part.begin() + 2, part.end());
    }

    std::span<const std::byte> m_file;
    std::size_t m_position = 0;
    std::size_t m_body = 0; ///< of the current segment, behind its length
    std::size_t m_bodyEnd = 0;
    bool m_progressive = false;
    int m_scanCount = 0;
    bool m_jfif = false;
    int m_adobeTransform = -1;
    std::vector<Component> m_components;
    std::array<std::array<bool, 4>, 2> m_huffmanTables{}; ///< those of direct and of alternating coefficients
    std::array<bool, 4> m_quantTables{};
    std::vector<std::span<const std::byte>> m_profileParts;
    JpegStructure m_result;
};

} // namespace

std::optional<JpegStructure> readJpegStructure(std::span<const std::byte> file)
{
    try {
        return Reader(file).read();
    } catch (const Unsound&) {
        return std::nullopt;
    }
}

} // namespace Pelgra
