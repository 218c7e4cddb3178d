#include "HeifEncoder.h"

#include "HeifCoding.h"
#include "HeifTileEncoder.h"
#include "metadata/ExifStructure.h"
#include "metadata/IptcAsXmp.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace Pelgra {

namespace {

double clampedQuality(double quality)
{
    return quality > 0 ? std::min(quality, 1.0) : 0.0;
}

/// What goes beside the picture, as the library's functions take it.
struct Blocks {
    Bytes exif;
    Bytes xmp;
    Bytes iptc;
};

Blocks blocksOf(const EncodeProperties& properties)
{
    const ImageMetadata& metadata = properties.metadata;
    Blocks blocks;
    // The format has no other field for the resolution.
    const bool saysMore = properties.dpiWidth != 72 || properties.dpiHeight != 72;
    if (!metadata.exif.empty() || saysMore)
        blocks.exif = ExifStructure::withResolution(metadata.exif, properties.dpiWidth, properties.dpiHeight);
    // Other programs look for IPTC's texts in XMP; the records themselves follow for those that know where to find
    // them.
    blocks.xmp = xmpWithIptc(metadata.auxiliaryXmp, metadata.iptc);
    blocks.iptc = metadata.iptc;
    return blocks;
}

void encodeWhole(RowSource& rows, const HeifCoding& coding, const Blocks& blocks, ByteSink& sink)
{
    const auto [context, handle] = codedContext(rows, coding);
    const auto sizeOf = [](const Bytes& bytes) {
        return static_cast<int>(std::min<std::size_t>(bytes.size(), std::numeric_limits<int>::max()));
    };
    const auto check = checkHeif<std::runtime_error>;
    if (!blocks.exif.empty())
        check(heif_context_add_exif_metadata(context.get(), handle.get(), blocks.exif.data(), sizeOf(blocks.exif)));
    if (!blocks.xmp.empty())
        check(heif_context_add_XMP_metadata(context.get(), handle.get(), blocks.xmp.data(), sizeOf(blocks.xmp)));
    if (!blocks.iptc.empty())
        check(heif_context_add_generic_metadata(context.get(), handle.get(), blocks.iptc.data(), sizeOf(blocks.iptc),
                                                "iptc", nullptr));
    writeHeif(*context, sink);
}

/// The blocks as items, as the library makes them.
std::vector<HeifMetadata> itemsOf(Blocks blocks)
{
    std::vector<HeifMetadata> items;
    if (!blocks.exif.empty()) {
        // The structure's distance from here as four bytes (23008-12, A.2.1).
        blocks.exif.insert(blocks.exif.begin(), 4, std::byte{0});
        items.push_back({"Exif", {}, std::move(blocks.exif)});
    }
    if (!blocks.xmp.empty())
        items.push_back({"mime", "application/rdf+xml", std::move(blocks.xmp)});
    if (!blocks.iptc.empty())
        items.push_back({"iptc", {}, std::move(blocks.iptc)});
    return items;
}

} // namespace

void encodeHeif(RowSource& rows, const EncodeProperties& properties, ByteSink& sink)
{
    HeifCoding coding{.quality = clampedQuality(properties.quality)};
    coding.isTile = isForTiles(rows.form());
    if (coding.isTile)
        encodeHeifTiles(rows, coding, properties.threads, itemsOf(blocksOf(properties)), sink);
    else
        encodeWhole(rows, coding, blocksOf(properties), sink);
}

} // namespace Pelgra
