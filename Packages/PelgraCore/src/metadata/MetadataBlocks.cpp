#include "metadata/MetadataBlocks.h"

#include "metadata/ByteWriter.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <string_view>

namespace Pelgra {

namespace {

constexpr double metresPerInch = 0.0254;

} // namespace

std::span<const std::byte> usableProfile(const RasterForm& form)
{
    constexpr std::size_t headerSize = 128;
    constexpr std::size_t colorSpaceOffset = 16;
    if (form.iccProfile.size() < headerSize)
        return {};
    const std::string_view wanted = form.model == ColorModel::gray ? "GRAY"
        : form.model == ColorModel::rgb                            ? "RGB "
                                                                   : "CMYK";
    if (std::memcmp(form.iccProfile.data() + colorSpaceOffset, wanted.data(), wanted.size()) != 0)
        return {};
    return form.iccProfile;
}

Bytes photoshopResource(std::span<const std::byte> iptc)
{
    ByteWriter block(std::endian::big);
    block.put("8BIM").put16(0x0404).put16(0).put32(static_cast<std::uint32_t>(iptc.size())).put(iptc);
    if (iptc.size() % 2 != 0)
        block.put8(0);
    return std::move(block.bytes());
}

unsigned wholeDotsPerInch(double dpi)
{
    return dpi > 0 ? static_cast<unsigned>(std::clamp(std::round(dpi), 1.0, 65535.0)) : 72;
}

std::uint32_t dotsPerMetre(double dpi)
{
    return dpi > 0 ? static_cast<std::uint32_t>(std::clamp(std::round(dpi / metresPerInch), 1.0, 2147483647.0)) : 2835;
}

double dotsPerInchFrom(double dotsPerMetre)
{
    const double exact = dotsPerMetre * metresPerInch;
    const double whole = std::round(exact);
    // Some programs cut the fraction off instead of rounding it.
    return std::abs(whole / metresPerInch - dotsPerMetre) < 1 ? whole : exact;
}

} // namespace Pelgra
