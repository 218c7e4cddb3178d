#include "HeifDecoder.h"

#include "HeifHandles.h"
#include "HeifPixels.h"
#include "HeifProfile.h"
#include "HeifTiles.h"
#include "metadata/ExifFields.h"

#include <algorithm>
#include <cstring>
#include <string_view>
#include <utility>
#include <vector>

namespace Pelgra {

namespace {

/// The picture with this index, the primary one being the first. A reduced copy named as the primary one stands for the
/// picture it was made of.
std::pair<heif_item_id, HeifImageHandle> pictureAt(heif_context& context, int index)
{
    heif_item_id primary = 0;
    checkHeif<DecodeError>(heif_context_get_primary_image_ID(&context, &primary));
    std::vector<heif_item_id> pictures(
        static_cast<std::size_t>(std::max(heif_context_get_number_of_top_level_images(&context), 0)));
    heif_context_get_list_of_top_level_image_IDs(&context, pictures.data(), static_cast<int>(pictures.size()));
    if (pictures.empty())
        throw DecodeError("no picture");
    if (const auto found = std::find(pictures.begin(), pictures.end(), primary); found != pictures.end())
        std::rotate(pictures.begin(), found, found + 1);
    const bool exists = index > 0 && static_cast<std::size_t>(index) < pictures.size();
    const heif_item_id id = pictures[exists ? static_cast<std::size_t>(index) : 0];
    heif_image_handle* handle = nullptr;
    checkHeif<DecodeError>(heif_context_get_image_handle(&context, id, &handle));
    return {id, HeifImageHandle(handle)};
}

/// Refuses, before anything is decoded, what would not fit.
void checkSize(const heif_image_handle& handle)
{
    const std::size_t bytesPerSample = heif_image_handle_get_luma_bits_per_pixel(&handle) > 8 ? 2 : 1;
    const std::size_t components = heif_image_handle_has_alpha_channel(&handle) ? 4 : 3;
    const auto fits = [&](int width, int height) {
        return width > 0 && height > 0
            && RasterImage::fits(static_cast<std::uint64_t>(width), static_cast<std::uint64_t>(height),
                                 components * bytesPerSample);
    };
    if (!fits(heif_image_handle_get_width(&handle), heif_image_handle_get_height(&handle))
        || !fits(heif_image_handle_get_ispe_width(&handle), heif_image_handle_get_ispe_height(&handle)))
        throw DecodeError("the picture is too large");
}

/// The first metadata block of this item type and, for "mime" items, this content type; empty when there is none.
Bytes metadataBlock(const heif_image_handle& handle, const char* type, std::string_view contentType = {})
{
    const int count = heif_image_handle_get_number_of_metadata_blocks(&handle, type);
    std::vector<heif_item_id> blocks(static_cast<std::size_t>(std::max(count, 0)));
    heif_image_handle_get_list_of_metadata_block_IDs(&handle, type, blocks.data(), count);
    for (const heif_item_id block : blocks) {
        const char* const content = heif_image_handle_get_metadata_content_type(&handle, block);
        if (!contentType.empty() && (!content || contentType != content))
            continue;
        Bytes bytes(heif_image_handle_get_metadata_size(&handle, block));
        if (!bytes.empty() && heif_image_handle_get_metadata(&handle, block, bytes.data()).code == heif_error_Ok)
            return bytes;
    }
    return {};
}

/// The TIFF structure of an EXIF block, which begins with its distance as four bytes (ISO/IEC 23008-12, A.2.1). Some
/// writers put the prefix of JPEG files in between.
Bytes exifStructure(const Bytes& block)
{
    constexpr std::string_view prefix("Exif\0\0", 6);
    if (block.size() < 4)
        return {};
    std::uint64_t start = 4;
    for (std::size_t index = 0; index < 4; ++index)
        start += std::to_integer<std::uint64_t>(block[index]) << (24 - 8 * index);
    if (start >= block.size())
        start = 4;
    std::span<const std::byte> rest = std::span(block).subspan(static_cast<std::size_t>(start));
    if (rest.size() > prefix.size() && std::memcmp(rest.data(), prefix.data(), prefix.size()) == 0)
        rest = rest.subspan(prefix.size());
    return {rest.begin(), rest.end()};
}

/// Pictures pieced together from grey tiles come out of the library in colour; a grey profile gives them away.
void takeBackToGray(RasterImage& image)
{
    RasterImage gray =
        *RasterImage::make(image.width, image.height, ColorModel::gray, image.hasAlpha, image.bitsPerComponent);
    const std::size_t sampleBytes = static_cast<std::size_t>(image.bitsPerComponent) / 8;
    const std::size_t from = image.bytesPerPixel();
    const std::size_t to = gray.bytesPerPixel();
    for (int y = 0; y < image.height; ++y) {
        const std::byte* pixel = image.row(y).data();
        std::byte* out = gray.row(y).data();
        for (int x = 0; x < image.width; ++x, pixel += from, out += to) {
            std::copy_n(pixel + sampleBytes, sampleBytes, out);
            if (image.hasAlpha)
                std::copy_n(pixel + from - sampleBytes, sampleBytes, out + sampleBytes);
        }
    }
    gray.iccProfile = std::move(image.iccProfile);
    image = std::move(gray);
}

bool isGrayProfile(const Bytes& profile)
{
    constexpr std::size_t colorSpaceOffset = 16;
    return profile.size() >= 128 && std::memcmp(profile.data() + colorSpaceOffset, "GRAY", 4) == 0;
}

} // namespace

DecodedImage decodeHeif(std::span<const std::byte> file, int index)
{
    const HeifStructure structure(file);
    structure.checkReferences();
    const HeifContext context = openHeif(file);
    const auto [id, handle] = pictureAt(*context, index);
    checkSize(*handle);

    DecodedImage decoded;
    if (std::optional<RasterImage> tiles = decodeHeifTiles(file, structure, id, *handle)) {
        decoded.image = std::move(*tiles);
    } else {
        heif_image* image = nullptr;
        checkHeif<DecodeError>(
            heif_decode_image(handle.get(), &image, heif_colorspace_undefined, heif_chroma_undefined, nullptr));
        const HeifImage owner(image);
        decoded.image = pixelsOf(*image, heif_image_handle_is_premultiplied_alpha(handle.get()) != 0);
    }
    decoded.image.iccProfile = profileOf(*handle, decoded.image.model);
    if (decoded.image.model == ColorModel::rgb && isGrayProfile(decoded.image.iccProfile))
        takeBackToGray(decoded.image);
    decoded.exif = exifStructure(metadataBlock(*handle, "Exif"));
    // The format has no resolution of its own.
    const ExifFields fields = readExifFields(decoded.exif);
    decoded.dpiX = fields.dpiX;
    decoded.dpiY = fields.dpiY;
    decoded.xmp = metadataBlock(*handle, "mime", "application/rdf+xml");
    decoded.iptc = metadataBlock(*handle, "iptc");
    return decoded;
}

} // namespace Pelgra
