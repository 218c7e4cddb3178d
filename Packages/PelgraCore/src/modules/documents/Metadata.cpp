#include "Metadata.h"

#include "codecs/Deflate.h"

#include <qpdf/Pipeline.hh>

#include <algorithm>
#include <map>
#include <span>
#include <stdexcept>
#include <string_view>
#include <vector>

namespace Pelgra::Documents {

namespace {

constexpr std::size_t packetLimit = std::size_t{16} << 20;

/// Collects a packet of reasonable size.
class PacketPipeline final : public Pipeline {
public:
    explicit PacketPipeline(std::string& packet)
        : Pipeline("metadata", nullptr)
        , m_packet(packet)
    {
    }

    void write(const unsigned char* data, std::size_t length) override
    {
        if (m_packet.size() + length > packetLimit)
            throw std::runtime_error("too much metadata");
        m_packet.append(reinterpret_cast<const char*>(data), length);
    }

    void finish() override { }

private:
    std::string& m_packet;
};

/// Finds the next of some characters. Asked for places in ascending order, it reads the text once in all.
class NextOf {
public:
    NextOf(std::string_view text, std::string_view characters)
        : m_text(text)
        , m_characters(characters)
    {
    }

    std::size_t from(std::size_t position)
    {
        if (!m_isKnown || m_found < position) {
            m_found = m_text.find_first_of(m_characters, position);
            m_isKnown = true;
        }
        return m_found;
    }

private:
    std::string_view m_text;
    std::string_view m_characters;
    std::size_t m_found = 0;
    bool m_isKnown = false;
};

/// A packet without the claims whose names begin with one prefix, such as pdfaid:part. Each part of the packet is read
/// a fixed number of times, whatever it holds.
class ClaimRemoval {
public:
    ClaimRemoval(std::string_view packet, std::string_view prefix)
        : m_packet(packet)
        , m_prefix(prefix)
        , m_nameEnds(packet, "=>/ \t\r\n")
        , m_quotes(packet, "\"'")
        , m_doubleQuotes(packet, "\"")
        , m_singleQuotes(packet, "'")
    {
        const std::string closing = "</" + std::string(prefix);
        NextOf tagEnds(packet, ">");
        for (std::size_t at = packet.find(closing); at != npos; at = packet.find(closing, at + closing.size())) {
            const std::size_t end = tagEnds.from(at);
            if (end == npos)
                break;
            if (end - at <= closing.size() + nameLimit)
                m_closings[packet.substr(at + 2, end - at - 2)].push_back(at);
        }
    }

    std::string run()
    {
        std::string kept;
        std::size_t copied = 0;
        std::size_t position = 0;
        while ((position = m_packet.find(m_prefix, position)) != npos) {
            const char before = position > copied ? m_packet[position - 1] : kept.empty() ? '\0' : kept.back();
            const bool isElement = before == '<';
            const bool isAttribute = before == ' ' || before == '\t' || before == '\r' || before == '\n';
            const std::size_t end = isElement ? endOfElement(position) : isAttribute ? endOfAttribute(position) : npos;
            if (end == npos) {
                ++position; // the declaration of the prefix, or something cut off
                continue;
            }
            kept.append(m_packet.substr(copied, position - copied));
            if (isElement)
                kept.pop_back();
            position = copied = end;
        }
        return kept.append(m_packet.substr(copied));
    }

private:
    static constexpr std::size_t npos = std::string_view::npos;
    /// Longer names are no claims.
    static constexpr std::size_t nameLimit = 64;

    /// After the element that begins with the name here; npos where it does not end.
    std::size_t endOfElement(std::size_t position)
    {
        const std::size_t nameEnd = m_nameEnds.from(position);
        if (nameEnd == npos || nameEnd - position > m_prefix.size() + nameLimit)
            return npos;
        const std::string_view name = m_packet.substr(position, nameEnd - position);
        const auto closings = m_closings.find(name);
        if (closings == m_closings.end())
            return npos;
        const auto closing = std::lower_bound(closings->second.begin(), closings->second.end(), nameEnd);
        return closing != closings->second.end() ? *closing + name.size() + 3 : npos;
    }

    /// After the value of the attribute whose name is here; npos where it does not end.
    std::size_t endOfAttribute(std::size_t position)
    {
        const std::size_t nameEnd = m_nameEnds.from(position);
        const std::size_t quote = nameEnd != npos ? m_quotes.from(nameEnd) : npos;
        if (quote == npos)
            return npos;
        const std::size_t end = (m_packet[quote] == '"' ? m_doubleQuotes : m_singleQuotes).from(quote + 1);
        return end != npos ? end + 1 : npos;
    }

    std::string_view m_packet;
    std::string_view m_prefix;
    NextOf m_nameEnds, m_quotes, m_doubleQuotes, m_singleQuotes;
    std::map<std::string_view, std::vector<std::size_t>>
        m_closings; ///< where each name's closing tags stand, ascending
};

} // namespace

std::string withoutConformanceClaims(std::string packet)
{
    for (const char* const prefix : {"pdfaid:", "pdfuaid:", "pdfxid:", "pdfvtid:"})
        packet = ClaimRemoval(packet, prefix).run();
    return packet;
}

std::string compressedMetadata(Object metadata)
{
    if (!metadata.isStream())
        return {};
    std::string packet;
    PacketPipeline pipeline(packet);
    bool isDecoded = false;
    if (!metadata.pipeStreamData(&pipeline, &isDecoded, 0, qpdf_dl_generalized, true) || !isDecoded)
        return {};
    packet = withoutConformanceClaims(std::move(packet));
    const PixelBuffer compressed = Deflate::stream(std::as_bytes(std::span(packet)), Deflate::Effort::thorough);
    return {reinterpret_cast<const char*>(compressed.data()), compressed.size()};
}

Object copyMetadata(QPDF& output, const std::string& compressed)
{
    if (compressed.empty())
        return Object::newNull();
    Object copy = Object::newStream(&output, compressed);
    copy.setFilterOnWrite(false);
    Object dictionary = copy.getDict();
    dictionary.replaceKey("/Type", Object::newName("/Metadata"));
    dictionary.replaceKey("/Subtype", Object::newName("/XML"));
    dictionary.replaceKey("/Filter", Object::newName("/FlateDecode"));
    return copy;
}

} // namespace Pelgra::Documents
