#include "Metadata.h"

#include <qpdf/Pipeline.hh>

#include <stdexcept>

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

/// The end of the claim that begins at a name such as pdfaid:part: after its value, be it an attribute or an element.
std::size_t endOfClaim(const std::string& packet, std::size_t start, bool isElement)
{
    const std::size_t nameEnd = packet.find_first_of("=>/ \t\r\n", start);
    if (nameEnd == std::string::npos)
        return nameEnd;
    if (isElement) {
        const std::string closing = "</" + packet.substr(start, nameEnd - start) + ">";
        const std::size_t at = packet.find(closing, nameEnd);
        return at == std::string::npos ? at : at + closing.size();
    }
    const std::size_t quote = packet.find_first_of("\"'", nameEnd);
    const std::size_t end = quote == std::string::npos ? quote : packet.find(packet[quote], quote + 1);
    return end == std::string::npos ? end : end + 1;
}

} // namespace

std::string withoutConformanceClaims(std::string packet)
{
    for (const char* const prefix : {"pdfaid:", "pdfuaid:", "pdfxid:", "pdfvtid:"}) {
        std::size_t position = 0;
        while ((position = packet.find(prefix, position)) != std::string::npos) {
            const char before = position > 0 ? packet[position - 1] : '\0';
            const bool isElement = before == '<';
            const bool isAttribute = before == ' ' || before == '\t' || before == '\r' || before == '\n';
            const std::size_t end =
                isElement || isAttribute ? endOfClaim(packet, position, isElement) : std::string::npos;
            if (end == std::string::npos) {
                ++position; // the declaration of the prefix, or something cut off
                continue;
            }
            position -= isElement ? 1 : 0;
            packet.erase(position, end - position);
        }
    }
    return packet;
}

Object copyMetadata(ObjectCopier& copier, Object metadata)
{
    if (!metadata.isStream())
        return Object::newNull();
    std::string packet;
    PacketPipeline pipeline(packet);
    bool isDecoded = false;
    if (!metadata.pipeStreamData(&pipeline, &isDecoded, 0, qpdf_dl_generalized, true) || !isDecoded)
        return Object::newNull();
    Object copy = Object::newStream(&copier.output(), withoutConformanceClaims(std::move(packet)));
    copy.getDict().replaceKey("/Type", Object::newName("/Metadata"));
    copy.getDict().replaceKey("/Subtype", Object::newName("/XML"));
    return copy;
}

} // namespace Pelgra::Documents
