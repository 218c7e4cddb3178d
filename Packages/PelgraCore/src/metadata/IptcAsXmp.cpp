#include "metadata/IptcAsXmp.h"

#include "metadata/ByteWriter.h"
#include "unicode/Unicode.h"

#include <array>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace Pelgra {

namespace {

enum class Shape { text, date, list, orderedList, translations };

struct Property {
    unsigned dataSet; ///< of record 2
    Shape shape;
    std::string_view name;
};

constexpr std::array<Property, 21> properties{{
    {5, Shape::translations, "dc:title"},
    {10, Shape::text, "photoshop:Urgency"},
    {15, Shape::text, "photoshop:Category"},
    {20, Shape::list, "photoshop:SupplementalCategories"},
    {25, Shape::list, "dc:subject"},
    {40, Shape::text, "photoshop:Instructions"},
    {55, Shape::date, "photoshop:DateCreated"},
    {80, Shape::orderedList, "dc:creator"},
    {85, Shape::text, "photoshop:AuthorsPosition"},
    {90, Shape::text, "photoshop:City"},
    {92, Shape::text, "Iptc4xmpCore:Location"},
    {95, Shape::text, "photoshop:State"},
    {100, Shape::text, "Iptc4xmpCore:CountryCode"},
    {101, Shape::text, "photoshop:Country"},
    {103, Shape::text, "photoshop:TransmissionReference"},
    {105, Shape::text, "photoshop:Headline"},
    {110, Shape::text, "photoshop:Credit"},
    {115, Shape::text, "photoshop:Source"},
    {116, Shape::translations, "dc:rights"},
    {120, Shape::translations, "dc:description"},
    {122, Shape::text, "photoshop:CaptionWriter"},
}};

using Records = std::map<unsigned, std::vector<std::string>>;

/// The values of record 2 by data set (IIM 4.2, chapter 1). Stops at the first damage.
Records recordsOf(std::span<const std::byte> iptc)
{
    constexpr std::size_t headSize = 5;
    Records records;
    while (iptc.size() >= headSize && iptc[0] == std::byte{0x1C}) {
        const std::size_t size = read16(iptc, 3, std::endian::big);
        // Longer values state the size of their size; no text is that long.
        if (size > 0x7FFF || size > iptc.size() - headSize)
            break;
        if (iptc[1] == std::byte{2}) {
            const auto* const text = reinterpret_cast<const char*>(iptc.data() + headSize);
            records[std::to_integer<unsigned>(iptc[2])].emplace_back(text, size);
        }
        iptc = iptc.subspan(headSize + size);
    }
    return records;
}

/// Text for XML: UTF-8, converted from Latin-1 where it is not, without the characters XML has no place for.
std::string escaped(const std::string& text)
{
    std::u32string characters = Unicode::decoded(text);
    if (characters.find(Unicode::replacement) != std::u32string::npos) {
        characters.clear();
        for (const char byte : text)
            characters += static_cast<unsigned char>(byte);
    }
    std::string result;
    for (const char32_t character : characters) {
        if (character == U'<')
            result += "&lt;";
        else if (character == U'>')
            result += "&gt;";
        else if (character == U'&')
            result += "&amp;";
        else if ((character < 0x20 && character != U'\n' && character != U'\t') || character == 0xFFFE
                 || character == 0xFFFF)
            result += ' ';
        else
            Unicode::append(result, character);
    }
    return result;
}

/// "20240506" as "2024-05-06".
std::string dated(const std::string& text)
{
    return text.size() == 8 ? text.substr(0, 4) + "-" + text.substr(4, 2) + "-" + text.substr(6) : text;
}

std::string itemsOf(const std::vector<std::string>& values, std::string_view kind, std::string_view attributes)
{
    std::string items = "<rdf:" + std::string(kind) + ">";
    for (const std::string& value : values)
        items += "<rdf:li" + std::string(attributes) + ">" + escaped(value) + "</rdf:li>";
    return items + "</rdf:" + std::string(kind) + ">";
}

std::string valueOf(Shape shape, const std::vector<std::string>& values)
{
    switch (shape) {
    case Shape::text:
        return escaped(values.front());
    case Shape::date:
        return escaped(dated(values.front()));
    case Shape::list:
        return itemsOf(values, "Bag", "");
    case Shape::orderedList:
        return itemsOf(values, "Seq", "");
    case Shape::translations:
        return itemsOf({values.front()}, "Alt", " xml:lang=\"x-default\"");
    }
    return {};
}

std::string descriptionOf(const Records& records)
{
    std::string content;
    for (const Property& property : properties) {
        const auto found = records.find(property.dataSet);
        if (found != records.end())
            content += "<" + std::string(property.name) + ">" + valueOf(property.shape, found->second) + "</"
                + std::string(property.name) + ">";
    }
    if (content.empty())
        return {};
    return "<rdf:Description rdf:about=\"\" xmlns:dc=\"http://purl.org/dc/elements/1.1/\""
           " xmlns:photoshop=\"http://ns.adobe.com/photoshop/1.0/\""
           " xmlns:Iptc4xmpCore=\"http://iptc.org/std/Iptc4xmpCore/1.0/xmlns/\">"
        + content + "</rdf:Description>";
}

} // namespace

Bytes xmpWithIptc(std::span<const std::byte> xmp, std::span<const std::byte> iptc)
{
    const std::string description = descriptionOf(recordsOf(iptc));
    std::string packet(reinterpret_cast<const char*>(xmp.data()), xmp.size());
    if (packet.empty() && !description.empty())
        packet =
            "<?xpacket begin=\"\xEF\xBB\xBF\" id=\"W5M0MpCehiHzreSzNTczkc9d\"?><x:xmpmeta xmlns:x=\"adobe:ns:meta/\">"
            "<rdf:RDF xmlns:rdf=\"http://www.w3.org/1999/02/22-rdf-syntax-ns#\"></rdf:RDF></x:xmpmeta>"
            "<?xpacket end=\"w\"?>";
    const std::size_t end = packet.rfind("</rdf:RDF>");
    if (end != std::string::npos)
        packet.insert(end, description);
    const auto bytes = std::as_bytes(std::span(packet));
    return {bytes.begin(), bytes.end()};
}

} // namespace Pelgra
