#include "modules/metadata/MetadataModule.h"

#include "ExifFilter.h"
#include "Exiv2Version.h"
#include "modules/ModuleLoader.h"
#include "XmpFilter.h"

#include <exception>
#include <new>

#include <exiv2/exiv2.hpp>

namespace Pelgra {

namespace {

/// More than any camera or program writes; parsing takes several times a block's size in memory.
constexpr std::size_t blockLimit = std::size_t{16} << 20;
/// Each of its texts may be a few bytes long, and takes hundreds in memory.
constexpr std::size_t iptcLimit = std::size_t{1} << 20;

Bytes filteredIptc(std::span<const std::byte> iptc)
{
    if (iptc.size() > iptcLimit)
        return {};
    Exiv2::IptcData data;
    const int status = Exiv2::IptcParser::decode(data, reinterpret_cast<const Exiv2::byte*>(iptc.data()),
                                                 static_cast<std::uint32_t>(iptc.size()));
    if (status != 0 || data.empty())
        return {};
    return bytesOf(Exiv2::IptcParser::encode(data));
}

/// What a filter makes of a block; nothing where the block is absent, too large or damaged beyond reading.
template <typename Filter>
Bytes filtered(std::span<const std::byte> block, Filter filter)
{
    if (block.empty() || block.size() > blockLimit)
        return {};
    try {
        return filter();
    } catch (const std::bad_alloc&) {
        throw;
    } catch (const std::exception&) {
        return {};
    }
}

void silenceLibrary()
{
    static const bool isSilent = [] {
        Exiv2::LogMsg::setLevel(Exiv2::LogMsg::mute);
        return true;
    }();
    static_cast<void>(isSilent);
}

ImageMetadata filter(const MetadataSource& source)
{
    silenceLibrary();
    ImageMetadata metadata;
    metadata.exif = filtered(source.exif, [&] { return filteredExif(source); });
    metadata.iptc = filtered(source.iptc, [&] { return filteredIptc(source.iptc); });
    metadata.auxiliaryXmp = filtered(source.xmp, [&] { return auxiliaryXmp(source.xmp); });
    return metadata;
}

} // namespace

} // namespace Pelgra

PELGRA_MODULE_EXPORT const Pelgra::MetadataModule pelgraModule{Pelgra::filter};
