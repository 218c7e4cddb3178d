#include "modules/tiff/TiffModule.h"

#include "metadata/ExifStructure.h"
#include "metadata/MetadataBlocks.h"
#include "modules/ModuleLoader.h"
#include "TiffPixels.h"

#include <limits>

namespace Pelgra {

namespace {

/// Moves to the page, or to the first where there is none of that index.
void selectPage(const TiffFile& file, int index)
{
    constexpr int pageLimit = std::numeric_limits<std::uint16_t>::max();
    if (index > 0 && index < pageLimit && TIFFSetDirectory(file.get(), static_cast<tdir_t>(index)) == 1)
        return;
    if (TIFFCurrentDirectory(file.get()) != 0 && TIFFSetDirectory(file.get(), 0) != 1)
        throw DecodeError("the first page cannot be read");
}

constexpr double centimetresPerMetre = 100;

std::optional<double> resolution(const TiffFile& file, std::uint32_t tag)
{
    float value = 0;
    const std::uint16_t unit = file.shortNumber(TIFFTAG_RESOLUTIONUNIT, RESUNIT_INCH);
    if (unit == RESUNIT_NONE || TIFFGetField(file.get(), tag, &value) != 1 || !(value > 0))
        return std::nullopt;
    return unit == RESUNIT_CENTIMETER ? dotsPerInchFrom(value * centimetresPerMetre) : value;
}

Bytes profileOf(const TiffFile& file)
{
    std::uint32_t size = 0;
    const void* data = nullptr;
    if (TIFFGetField(file.get(), TIFFTAG_ICCPROFILE, &size, &data) != 1 || !data)
        return {};
    const auto* const bytes = static_cast<const std::byte*>(data);
    return {bytes, bytes + size};
}

/// The first page's metadata, straight from the file: the library would swap the bytes of some declarations.
void readMetadata(std::span<const std::byte> bytes, DecodedImage& decoded)
{
    const std::optional<ExifStructure::MainDirectory> directory = ExifStructure::mainDirectory(bytes);
    if (!directory)
        return;
    for (const ExifStructure::Field& field : directory->fields) {
        const std::span<const std::byte> value = ExifStructure::valueOf(field, bytes, directory->order);
        if (field.tag == TIFFTAG_RICHTIFFIPTC)
            decoded.iptc.assign(value.begin(), value.end());
        else if (field.tag == TIFFTAG_XMLPACKET)
            decoded.xmp.assign(value.begin(), value.end());
    }
    // The file itself is the structure that holds EXIF. A large one is mostly pixels, so its directories are written
    // anew.
    constexpr std::size_t copyLimit = 1 << 20;
    if (bytes.size() <= copyLimit)
        decoded.exif.assign(bytes.begin(), bytes.end());
    else
        decoded.exif = ExifStructure::reducedTo(bytes, copyLimit);
}

DecodedImage decodeTiff(std::span<const std::byte> bytes, int index)
{
    const TiffFile file(bytes);
    selectPage(file, index);
    const TiffLayout layout(file);
    DecodedImage decoded;
    decoded.image = readTiffPixels(file, layout);
    decoded.image.iccProfile = profileOf(file);
    const std::uint16_t orientation = file.shortNumber(TIFFTAG_ORIENTATION, ORIENTATION_TOPLEFT);
    decoded.orientation = orientation >= 1 && orientation <= 8 ? orientation : 1;
    decoded.dpiX = resolution(file, TIFFTAG_XRESOLUTION);
    decoded.dpiY = resolution(file, TIFFTAG_YRESOLUTION);
    if (TIFFCurrentDirectory(file.get()) == 0)
        readMetadata(bytes, decoded);
    return decoded;
}

} // namespace

} // namespace Pelgra

PELGRA_MODULE_EXPORT const Pelgra::TiffModule pelgraModule{Pelgra::decodeTiff};
