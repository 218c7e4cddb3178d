#include "codecs/jpeg/JpegMarkers.h"

#include "codecs/BlockWrappings.h"

#include <array>
#include <string_view>

namespace Pelgra {

namespace {

using namespace std::string_view_literals;
using ByteSpan = std::span<const std::byte>;

/// Collects an ICC profile's pieces, which are numbered from 1 (ICC.1, annex B.4).
class ProfilePieces {
public:
    void add(ByteSpan piece)
    {
        if (piece.size() < 2)
            return;
        m_count = std::to_integer<std::size_t>(piece[1]);
        m_pieces[std::to_integer<std::size_t>(piece[0])] = piece.subspan(2);
    }

    Bytes joined() const
    {
        Bytes profile;
        for (std::size_t index = 1; index <= m_count; ++index) {
            if (m_pieces[index].empty())
                return {};
            profile.insert(profile.end(), m_pieces[index].begin(), m_pieces[index].end());
        }
        return profile;
    }

private:
    std::array<ByteSpan, 256> m_pieces;
    std::size_t m_count = 0;
};

constexpr std::size_t startOfScan = 0xDA, application1 = 0xE1, application2 = 0xE2, application13 = 0xED;
constexpr std::size_t endOfImage = 0xD9;

bool hasNoContent(std::size_t marker)
{
    return marker == 0x01 || (marker >= 0xD0 && marker <= 0xD8);
}

void readApplicationSegment(std::size_t marker, ByteSpan content, JpegMarkers& markers, ProfilePieces& profile)
{
    constexpr auto exifPrefix = "Exif\0\0"sv, xmpPrefix = "http://ns.adobe.com/xap/1.0/\0"sv;
    constexpr auto profilePrefix = "ICC_PROFILE\0"sv, photoshopPrefix = "Photoshop 3.0\0"sv;
    if (marker == application1 && markers.exif.empty() && startsWith(content, exifPrefix))
        markers.exif = content.subspan(exifPrefix.size());
    else if (marker == application1 && markers.xmp.empty() && startsWith(content, xmpPrefix))
        markers.xmp = content.subspan(xmpPrefix.size());
    else if (marker == application2 && startsWith(content, profilePrefix))
        profile.add(content.subspan(profilePrefix.size()));
    else if (marker == application13 && startsWith(content, photoshopPrefix))
        appendIptc(content.subspan(photoshopPrefix.size()), markers.iptc);
}

} // namespace

JpegMarkers readJpegMarkers(ByteSpan file)
{
    JpegMarkers markers;
    ProfilePieces profile;
    std::size_t place = 2;
    while (place + 4 <= file.size()) {
        if (file[place] != std::byte{0xFF}) {
            ++place; // like the decoder, pass over what should not be there
            continue;
        }
        const std::size_t marker = std::to_integer<std::size_t>(file[place + 1]);
        if (marker == 0xFF || marker == 0 || hasNoContent(marker)) {
            place += marker == 0xFF ? 1 : 2;
            continue;
        }
        if (marker == startOfScan || marker == endOfImage)
            break;
        const std::size_t length = bigEndianNumber(file, place + 2, 2);
        if (length < 2 || length > file.size() - place - 2)
            break;
        readApplicationSegment(marker, file.subspan(place + 4, length - 2), markers, profile);
        place += 2 + length;
    }
    markers.iccProfile = profile.joined();
    return markers;
}

} // namespace Pelgra
