#include "Support/ImageSamples.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>

#include <lcms2.h>

namespace Pelgra {

namespace {

/// Puts a TIFF structure together: directories first declared, values behind them.
class TiffStructure {
public:
    explicit TiffStructure(bool bigEndian)
        : m_bigEndian(bigEndian)
    {
        m_bytes = bytesOf(bigEndian ? "MM" : "II");
        append16(42);
        append32(8);
    }

    struct Entry {
        unsigned tag = 0;
        unsigned type = 0; ///< 1 byte, 2 text, 3 short, 4 long, 5 rational
        std::vector<std::uint32_t> numbers; ///< rationals as pairs
        std::string_view text;
    };

    /// Appends a directory (entries ascending by tag); its values follow it. Returns the place of the link to the next.
    std::size_t appendDirectory(const std::vector<Entry>& entries)
    {
        append16(static_cast<unsigned>(entries.size()));
        std::size_t valueOffset = m_bytes.size() + entries.size() * 12 + 4;
        Bytes values;
        for (const Entry& entry : entries) {
            Bytes value = valueOf(entry);
            append16(entry.tag);
            append16(entry.type);
            append32(countOf(entry));
            if (value.size() <= 4) {
                value.resize(4);
                m_bytes.insert(m_bytes.end(), value.begin(), value.end());
                continue;
            }
            if (value.size() % 2 != 0)
                value.push_back(std::byte{0});
            append32(static_cast<std::uint32_t>(valueOffset));
            valueOffset += value.size();
            values.insert(values.end(), value.begin(), value.end());
        }
        const std::size_t link = m_bytes.size();
        append32(0);
        m_bytes.insert(m_bytes.end(), values.begin(), values.end());
        return link;
    }

    /// Writes a 32-bit number at a place.
    void patch32(std::size_t place, std::size_t value)
    {
        for (unsigned index = 0; index < 4; ++index)
            m_bytes[place + index] = byteOf(static_cast<std::uint32_t>(value), index, 4);
    }

    /// The place of the value of a directory's entry.
    static std::size_t valuePlace(std::size_t directory, std::size_t index) { return directory + 2 + index * 12 + 8; }

    void append(const Bytes& bytes) { m_bytes.insert(m_bytes.end(), bytes.begin(), bytes.end()); }
    std::size_t size() const { return m_bytes.size(); }
    Bytes take() { return std::move(m_bytes); }

private:
    std::byte byteOf(std::uint32_t value, unsigned index, unsigned size) const
    {
        return static_cast<std::byte>(value >> 8 * (m_bigEndian ? size - 1 - index : index));
    }
    void appendTo(Bytes& bytes, std::uint32_t value, unsigned size) const
    {
        for (unsigned index = 0; index < size; ++index)
            bytes.push_back(byteOf(value, index, size));
    }
    void append16(unsigned value) { appendTo(m_bytes, value, 2); }
    void append32(std::uint32_t value) { appendTo(m_bytes, value, 4); }

    static std::uint32_t countOf(const Entry& entry)
    {
        if (entry.type == 2)
            return static_cast<std::uint32_t>(entry.text.size() + 1);
        return static_cast<std::uint32_t>(entry.type == 5 ? entry.numbers.size() / 2 : entry.numbers.size());
    }

    Bytes valueOf(const Entry& entry) const
    {
        Bytes value = bytesOf(entry.text);
        if (entry.type == 2)
            value.push_back(std::byte{0});
        for (const std::uint32_t number : entry.numbers)
            appendTo(value, number, entry.type == 1 ? 1 : entry.type == 3 ? 2 : 4);
        return value;
    }

    bool m_bigEndian;
    Bytes m_bytes;
};

std::vector<TiffStructure::Entry> mainDirectory(const ExifSampleOptions& options)
{
    std::vector<TiffStructure::Entry> entries;
    if (options.withStructure) {
        entries.push_back({0x100, 4, {777}, {}});
        entries.push_back({0x101, 4, {555}, {}});
        entries.push_back({0x102, 3, {8}, {}});
        entries.push_back({0x103, 3, {5}, {}});
    }
    entries.push_back({0x10F, 2, {}, "Pelgra"});
    if (options.withStructure)
        entries.push_back({0x111, 4, {8}, {}});
    if (options.orientation)
        entries.push_back({0x112, 3, {*options.orientation}, {}});
    if (options.withStructure)
        entries.push_back({0x117, 4, {64}, {}});
    if (options.resolution) {
        entries.push_back({0x11A, 5, {options.resolution->first, 1}, {}});
        entries.push_back({0x11B, 5, {options.resolution->second, 1}, {}});
        entries.push_back({0x128, 3, {options.resolutionUnit}, {}});
    }
    entries.push_back({0x8769, 4, {0}, {}});
    entries.push_back({0x8825, 4, {0}, {}});
    return entries;
}

void appendDataSet(Bytes& bytes, unsigned number, std::string_view text)
{
    for (const unsigned value :
         {0x1Cu, 2u, number, static_cast<unsigned>(text.size() >> 8), static_cast<unsigned>(text.size() & 0xFF)})
        bytes.push_back(static_cast<std::byte>(value));
    const Bytes content = bytesOf(text);
    bytes.insert(bytes.end(), content.begin(), content.end());
}

/// The profile's bytes, the same at any time; closes it.
Bytes savedProfile(cmsHPROFILE profile)
{
    cmsUInt32Number size = 0;
    cmsSaveProfileToMem(profile, nullptr, &size);
    Bytes bytes(size);
    if (!cmsSaveProfileToMem(profile, bytes.data(), &size))
        std::abort();
    constexpr std::size_t created = 24, lengthOfDate = 12; // ICC.1:2010, 7.2.8
    std::fill_n(bytes.begin() + created, lengthOfDate, std::byte{1});
    cmsCloseProfile(profile);
    return bytes;
}

} // namespace

Bytes exifSample(const ExifSampleOptions& options)
{
    TiffStructure structure(options.bigEndian);
    const std::vector<TiffStructure::Entry> main = mainDirectory(options);
    const std::size_t nextLink = structure.appendDirectory(main);
    structure.patch32(TiffStructure::valuePlace(8, main.size() - 2), structure.size());
    structure.appendDirectory({{0x829A, 5, {1, 125}, {}},
                               {0x9003, 2, {}, "2024:05:06 07:08:09"},
                               {0xA002, 4, {9999}, {}},
                               {0xA003, 4, {9999}, {}},
                               {0xA434, 2, {}, "Lens 50"}});
    structure.patch32(TiffStructure::valuePlace(8, main.size() - 1), structure.size());
    structure.appendDirectory({{0, 1, {2, 3, 0, 0}, {}}, {1, 2, {}, "N"}, {2, 5, {48, 1, 12, 1, 30, 1}, {}}});
    if (options.withThumbnail) {
        const std::size_t directory = structure.size();
        structure.patch32(nextLink, directory);
        structure.appendDirectory({{0x103, 3, {6}, {}}, {0x201, 4, {0}, {}}, {0x202, 4, {1000}, {}}});
        structure.patch32(TiffStructure::valuePlace(directory, 1), structure.size());
        Bytes preview(1000, std::byte{0x5A});
        preview[0] = std::byte{0xFF};
        preview[1] = std::byte{0xD8};
        structure.append(preview);
    }
    return structure.take();
}

Bytes iptcSample(std::string_view keyword)
{
    Bytes bytes;
    appendDataSet(bytes, 25, keyword);
    appendDataSet(bytes, 80, "Ada");
    return bytes;
}

Bytes xmpSample()
{
    return bytesOf(R"(<?xpacket begin="" id="W5M0MpCehiHzreSzNTczkc9d"?>
<x:xmpmeta xmlns:x="adobe:ns:meta/"><rdf:RDF xmlns:rdf="http://www.w3.org/1999/02/22-rdf-syntax-ns#">
<rdf:Description rdf:about="" xmlns:aux="http://ns.adobe.com/exif/1.0/aux/" xmlns:xmp="http://ns.adobe.com/xap/1.0/"
 xmlns:dc="http://purl.org/dc/elements/1.1/" aux:Lens="Lens 50" xmp:CreatorTool="Some Editor">
<dc:title><rdf:Alt><rdf:li xml:lang="x-default">Quay</rdf:li></rdf:Alt></dc:title>
</rdf:Description></rdf:RDF></x:xmpmeta>
<?xpacket end="w"?>)");
}

Bytes wideRgbProfile()
{
    cmsCIExyY white{0.3127, 0.3290, 1};
    cmsCIExyYTRIPLE primaries{{0.6400, 0.3300, 1}, {0.2100, 0.7100, 1}, {0.1500, 0.0600, 1}};
    cmsToneCurve* const curve = cmsBuildGamma(nullptr, 2.2);
    cmsToneCurve* curves[3] = {curve, curve, curve};
    const Bytes bytes = savedProfile(cmsCreateRGBProfile(&white, &primaries, curves));
    cmsFreeToneCurve(curve);
    return bytes;
}

Bytes grayProfile()
{
    cmsToneCurve* const curve = cmsBuildGamma(nullptr, 2.2);
    const Bytes bytes = savedProfile(cmsCreateGrayProfile(cmsD50_xyY(), curve));
    cmsFreeToneCurve(curve);
    return bytes;
}

} // namespace Pelgra
