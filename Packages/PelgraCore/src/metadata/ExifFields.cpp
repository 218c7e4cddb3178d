#include "metadata/ExifFields.h"

#include "metadata/MetadataBlocks.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

namespace Pelgra {

namespace {

constexpr double centimetresPerMetre = 100;

/// Bounds-checked numbers of a TIFF structure (TIFF 6.0, section 2).
class TiffReader {
public:
    explicit TiffReader(std::span<const std::byte> bytes)
        : m_bytes(bytes)
        , m_bigEndian(!bytes.empty() && bytes[0] == std::byte{'M'})
    {
    }

    bool hasSignature() const
    {
        return m_bytes.size() >= 8 && m_bytes[0] == m_bytes[1]
            && (m_bytes[0] == std::byte{'I'} || m_bytes[0] == std::byte{'M'}) && number(2, 2) == 42;
    }

    /// Zero beyond the end.
    std::uint32_t number(std::size_t place, std::size_t size) const
    {
        if (place > m_bytes.size() || m_bytes.size() - place < size)
            return 0;
        std::uint32_t value = 0;
        for (std::size_t index = 0; index < size; ++index) {
            const std::size_t at = place + (m_bigEndian ? index : size - 1 - index);
            value = value << 8 | std::to_integer<std::uint32_t>(m_bytes[at]);
        }
        return value;
    }

    /// A SHORT or LONG entry's single value, else 0.
    std::uint32_t integerOf(std::size_t entry) const
    {
        const std::uint32_t type = number(entry + 2, 2);
        return type == 3 ? number(entry + 8, 2) : type == 4 ? number(entry + 8, 4) : 0;
    }

    /// A resolution as programs write it: a RATIONAL, now and then a whole number.
    double realOf(std::size_t entry) const
    {
        if (number(entry + 2, 2) != 5)
            return integerOf(entry);
        const std::size_t place = number(entry + 8, 4);
        const std::uint32_t denominator = number(place + 4, 4);
        return denominator == 0 ? 0 : static_cast<double>(number(place, 4)) / denominator;
    }

private:
    std::span<const std::byte> m_bytes;
    bool m_bigEndian;
};

std::optional<double> dotsPerInch(double resolution, unsigned unit)
{
    if (unit != 2 && unit != 3)
        return std::nullopt; // without a unit it is only the shape of a pixel
    const double value = unit == 3 ? dotsPerInchFrom(resolution * centimetresPerMetre) : resolution;
    return isUsableResolution(value) ? std::optional(value) : std::nullopt;
}

} // namespace

bool isUsableResolution(double dotsPerInch)
{
    // A page this dense would be too small to see; such values come from overflows.
    constexpr double largest = 1e6;
    return std::isfinite(dotsPerInch) && dotsPerInch > 0 && dotsPerInch <= largest;
}

ExifFields readExifFields(std::span<const std::byte> exif)
{
    ExifFields fields;
    const TiffReader reader(exif);
    if (!reader.hasSignature())
        return fields;
    const std::size_t directory = reader.number(4, 4);
    double resolutionX = 0, resolutionY = 0;
    unsigned unit = 2; // inch is the default of TIFF
    for (std::size_t index = 0; index < reader.number(directory, 2); ++index) {
        const std::size_t entry = directory + 2 + 12 * index;
        switch (reader.number(entry, 2)) {
        case 0x112:
            if (const std::uint32_t value = reader.integerOf(entry); value >= 1 && value <= 8)
                fields.orientation = value;
            break;
        case 0x11A:
            resolutionX = reader.realOf(entry);
            break;
        case 0x11B:
            resolutionY = reader.realOf(entry);
            break;
        case 0x128:
            unit = reader.integerOf(entry);
            break;
        }
    }
    fields.dpiX = dotsPerInch(resolutionX, unit);
    fields.dpiY = dotsPerInch(resolutionY, unit);
    return fields;
}

} // namespace Pelgra
