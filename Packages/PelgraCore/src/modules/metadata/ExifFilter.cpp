#include "ExifFilter.h"

#include "metadata/ExifStructure.h"
#include "metadata/MakerNote.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <string>

#include <exiv2/exiv2.hpp>

namespace Pelgra {

namespace {

/// The tags of the first directory that describe the picture and not the file it was stored in.
bool isDescriptive(std::uint16_t tag)
{
    static constexpr std::array<std::uint16_t, 13> tags{
        0x010D, // document name
        0x010E, // description
        0x010F, // maker
        0x0110, // model
        0x011D, // page name
        0x0131, // software
        0x0132, // date
        0x013B, // artist
        0x013C, // host computer
        0x4746, // rating
        0x4749, // rating in percent
        0x8298, // copyright
        0xC4A5, // print matching
    };
    const bool isWindowsText = tag >= 0x9C9B && tag <= 0x9C9F;
    return isWindowsText || std::find(tags.begin(), tags.end(), tag) != tags.end();
}

/// Directories of previews and of raw pictures.
bool isPictureDirectory(const std::string& group)
{
    static constexpr std::array<std::string_view, 4> prefixes{"Thumbnail", "SubImage", "SubThumb", "PanasonicRaw"};
    return group == "Image2" || group == "Image3"
        || std::any_of(prefixes.begin(), prefixes.end(),
                       [&](std::string_view prefix) { return std::string_view(group).starts_with(prefix); });
}

/// Whether the maker's note would come out with offsets that lead nowhere: they did before, or they count from the
/// start of the data and the library does not know the maker.
bool isNoteLost(MakerNote::Kind kind, const Exiv2::ExifData& data)
{
    const bool isUnderstood = data.findKey(Exiv2::ExifKey("Exif.MakerNote.ByteOrder")) != data.end();
    return kind == MakerNote::Kind::broken || (kind == MakerNote::Kind::open && !isUnderstood);
}

bool isOfNote(const Exiv2::Exifdatum& datum)
{
    const std::string group = datum.groupName();
    return group == "MakerNote" || datum.key() == "Exif.Photo.MakerNote" || Exiv2::ExifTags::isMakerGroup(group);
}

bool travels(const Exiv2::Exifdatum& datum)
{
    const std::string group = datum.groupName();
    if (group == "Image")
        return isDescriptive(datum.tag());
    return !isPictureDirectory(group);
}

void set(Exiv2::ExifData& data, const char* key, const Exiv2::Value& value)
{
    data[key].setValue(&value);
}

void setNumber(Exiv2::ExifData& data, const char* key, std::uint32_t number)
{
    set(data, key, Exiv2::ULongValue(number));
}

void setResolution(Exiv2::ExifData& data, const char* key, double dpi)
{
    const std::array<std::uint32_t, 2> fraction = ExifStructure::resolutionFraction(dpi);
    set(data, key, Exiv2::URationalValue({fraction[0], fraction[1]}));
}

void describeUprightCopy(const MetadataSource& source, Exiv2::ExifData& data)
{
    set(data, "Exif.Image.Orientation", Exiv2::UShortValue(1));
    setResolution(data, "Exif.Image.XResolution", source.dpiWidth);
    setResolution(data, "Exif.Image.YResolution", source.dpiHeight);
    set(data, "Exif.Image.ResolutionUnit", Exiv2::UShortValue(2));
    if (data.findKey(Exiv2::ExifKey("Exif.Photo.PixelXDimension")) != data.end())
        setNumber(data, "Exif.Photo.PixelXDimension", static_cast<std::uint32_t>(source.uprightWidth));
    if (data.findKey(Exiv2::ExifKey("Exif.Photo.PixelYDimension")) != data.end())
        setNumber(data, "Exif.Photo.PixelYDimension", static_cast<std::uint32_t>(source.uprightHeight));
}

} // namespace

Bytes filteredExif(const MetadataSource& source)
{
    const Bytes exif = MakerNote::withOffsetsRestored(source.exif);
    Exiv2::ExifData data;
    const Exiv2::ByteOrder order = Exiv2::ExifParser::decode(data, reinterpret_cast<const Exiv2::byte*>(exif.data()),
                                                             static_cast<std::uint32_t>(exif.size()));
    const bool losesNote = isNoteLost(MakerNote::kindIn(exif), data);
    for (auto datum = data.begin(); datum != data.end();)
        datum = travels(*datum) && !(losesNote && isOfNote(*datum)) ? std::next(datum) : data.erase(datum);
    if (data.empty())
        return {};
    describeUprightCopy(source, data);
    Exiv2::Blob blob;
    Exiv2::ExifParser::encode(blob, order == Exiv2::invalidByteOrder ? Exiv2::littleEndian : order, data);
    const auto* const begin = reinterpret_cast<const std::byte*>(blob.data());
    return {begin, begin + blob.size()};
}

} // namespace Pelgra
