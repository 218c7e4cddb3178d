#include "codecs/bmp/BmpEncoder.h"

#include "metadata/ByteWriter.h"
#include "metadata/MetadataBlocks.h"
#include "pixels/SampleDepth.h"

#include <algorithm>
#include <limits>

namespace Pelgra {

namespace {

/// How a picture is laid out in the file. Structures and constants: wingdi.h, BITMAPINFOHEADER and BITMAPV5HEADER.
struct BmpLayout {
    explicit BmpLayout(const RasterForm& form)
        : width(form.width)
        , height(form.height)
    {
        isGray = form.model == ColorModel::gray && !form.hasAlpha;
        hasAlpha = form.hasAlpha;
        // Grey profiles have no place: the palette makes colour of the pixels.
        if (form.model == ColorModel::rgb)
            profile = usableProfile(form);
        bitsPerPixel = hasAlpha ? 32 : isGray ? 8 : 24;
        // Only readers of the last twenty years know the long header, so it is used only where something needs it.
        headerSize = hasAlpha || !profile.empty() ? 124 : 40;
        pixelOffset = 14 + headerSize + (isGray ? 256 * 4 : 0);
        stride = (static_cast<std::uint64_t>(width) * bitsPerPixel / 8 + 3) / 4 * 4;
        pixelBytes = stride * static_cast<std::uint64_t>(height);
    }
    std::uint64_t fileSize() const { return pixelOffset + pixelBytes + profile.size(); }

    int width;
    int height;
    bool isGray = false;
    bool hasAlpha = false;
    std::span<const std::byte> profile;
    unsigned bitsPerPixel = 0;
    std::uint32_t headerSize = 0;
    std::uint32_t pixelOffset = 0;
    std::uint64_t stride = 0;
    std::uint64_t pixelBytes = 0;
};

void putLongHeaderRest(ByteWriter& out, const BmpLayout& layout)
{
    constexpr std::uint32_t embeddedProfile = 0x4D424544; // 'MBED'
    constexpr std::uint32_t standardRgb = 0x73524742; // 'sRGB'
    constexpr std::uint32_t photographicIntent = 4; // LCS_GM_IMAGES
    if (layout.hasAlpha)
        out.put32(0x00FF0000).put32(0x0000FF00).put32(0x000000FF).put32(0xFF000000);
    else
        out.putZeros(16);
    out.put32(layout.profile.empty() ? standardRgb : embeddedProfile);
    out.putZeros(36 + 12); // end points and gammas, read only with a calibrated colour space
    out.put32(photographicIntent);
    // The profile's place counts from the start of the header, not of the file.
    const auto profileOffset = layout.profile.empty() ? 0 : layout.pixelOffset - 14 + layout.pixelBytes;
    out.put32(static_cast<std::uint32_t>(profileOffset)).put32(static_cast<std::uint32_t>(layout.profile.size()));
    out.put32(0);
}

Bytes headerOf(const BmpLayout& layout, const EncodeProperties& properties)
{
    constexpr std::uint32_t plainRgb = 0;
    constexpr std::uint32_t bitFields = 3;
    ByteWriter out(std::endian::little);
    out.put("BM").put32(static_cast<std::uint32_t>(layout.fileSize())).put32(0).put32(layout.pixelOffset);
    out.put32(layout.headerSize).put32(static_cast<std::uint32_t>(layout.width));
    out.put32(static_cast<std::uint32_t>(layout.height)).put16(1).put16(layout.bitsPerPixel);
    out.put32(layout.hasAlpha ? bitFields : plainRgb).put32(static_cast<std::uint32_t>(layout.pixelBytes));
    out.put32(dotsPerMetre(properties.dpiWidth)).put32(dotsPerMetre(properties.dpiHeight));
    out.put32(layout.isGray ? 256 : 0).put32(0);
    if (layout.headerSize > 40)
        putLongHeaderRest(out, layout);
    for (std::uint32_t level = 0; layout.isGray && level < 256; ++level)
        out.put32(level * 0x010101);
    return std::move(out.bytes());
}

/// One row from red-green-blue to the file's blue-green-red.
void convertRow(std::span<const std::byte> row, const RasterForm& form, const BmpLayout& layout,
                std::span<std::byte> out)
{
    const auto components = static_cast<std::size_t>(form.componentCount());
    const bool gray = form.model == ColorModel::gray;
    const std::size_t step = layout.bitsPerPixel / 8;
    if (layout.isGray) {
        std::copy(row.begin(), row.end(), out.begin());
        return;
    }
    const std::byte* from = row.data();
    std::byte* to = out.data();
    for (int x = 0; x < form.width; ++x, from += components, to += step) {
        to[0] = from[gray ? 0 : 2];
        to[1] = from[gray ? 0 : 1];
        to[2] = from[0];
        if (layout.hasAlpha)
            to[3] = from[components - 1];
    }
}

/// Writes the rows as they come into their places counted from the end of the pixels.
class BmpRows {
public:
    BmpRows(RowSource& rows, const BmpLayout& layout)
        : m_rows(rows)
        , m_layout(layout)
        , m_reduced(rows.form().bitsPerComponent == 16 ? rows.form().rowBytes() / 2 : 0)
    {
    }

    /// Puts `count` rows from `first` downwards into the stripe in the file's order, the lowest first.
    void fill(int first, int count, std::vector<std::byte>& stripe)
    {
        const RasterImage* const image = m_rows.wholeImage();
        stripe.assign(static_cast<std::size_t>(m_layout.stride) * static_cast<std::size_t>(count), std::byte{0});
        for (int index = 0; index < count; ++index) {
            std::span<const std::byte> row = image ? image->row(first + index) : m_rows.row(first + index);
            if (!m_reduced.empty()) {
                reduceTo8(row, m_reduced);
                row = m_reduced;
            }
            const auto place = static_cast<std::size_t>(m_layout.stride) * static_cast<std::size_t>(count - 1 - index);
            convertRow(row, m_rows.form(), m_layout, std::span(stripe).subspan(place));
        }
    }

private:
    RowSource& m_rows;
    const BmpLayout& m_layout;
    Bytes m_reduced;
};

} // namespace

void encodeBmp(RowSource& rows, const EncodeProperties& properties, ByteSink& sink)
{
    const BmpLayout layout(rows.form());
    if (layout.fileSize() > std::numeric_limits<std::uint32_t>::max())
        throw std::runtime_error("a bitmap file cannot hold more than 4 GiB");
    sink.write(headerOf(layout, properties));

    constexpr std::uint64_t stripeBytes = 1 << 20;
    const int stripeRows = static_cast<int>(std::clamp<std::uint64_t>(stripeBytes / layout.stride, 1, 4096));
    BmpRows bitmap(rows, layout);
    std::vector<std::byte> stripe;
    if (rows.wholeImage()) {
        for (int end = layout.height; end > 0; end -= std::min(stripeRows, end)) {
            bitmap.fill(end - std::min(stripeRows, end), std::min(stripeRows, end), stripe);
            sink.write(stripe);
        }
    } else {
        // The file begins with the lowest row, which comes last: make room first, then fill it from its end.
        stripe.assign(stripeBytes, std::byte{0});
        for (std::uint64_t left = layout.pixelBytes; left > 0; left -= std::min(stripeBytes, left))
            sink.write(std::span(stripe).first(static_cast<std::size_t>(std::min(stripeBytes, left))));
        for (int y = 0; y < layout.height; y += stripeRows) {
            const int count = std::min(stripeRows, layout.height - y);
            bitmap.fill(y, count, stripe);
            const std::uint64_t below = static_cast<std::uint64_t>(layout.height - y - count);
            sink.writeAt(static_cast<std::size_t>(layout.pixelOffset + below * layout.stride), stripe);
        }
    }
    sink.write(layout.profile);
}

} // namespace Pelgra
