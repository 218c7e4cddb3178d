#include "codecs/png/PngEncoder.h"

#include "codecs/Deflate.h"
#include "codecs/png/PngFilter.h"
#include "metadata/ByteWriter.h"
#include "metadata/ExifStructure.h"
#include "metadata/MetadataBlocks.h"
#include "parallel/InParallel.h"
#include "PelgraCore/Hexadecimal.h"
#include "pixels/RowStripe.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace Pelgra {

namespace {

/// Filtered bytes that are compressed in one go by one thread.
constexpr std::size_t partBytes = 1 << 20;
/// Filtered bytes up to which drawn content is compressed as a whole, faster and smaller than in parts.
constexpr std::size_t wholeLimit = 64 << 20;

struct Strategy {
    PngFilterChoice filter = PngFilterChoice::adaptive;
    Deflate::Effort effort = Deflate::Effort::thorough;
};

/// Filters rectangles spread over the stripe, to be compressed on trial.
PixelBuffer filteredSample(const RasterForm& form, const RowStripe& stripe, PngFilterChoice choice)
{
    constexpr int tilesPerSide = 4;
    RasterForm tile = form;
    tile.width = std::min(form.width, 512);
    const int tileRows = std::min(stripe.count(), 16);
    PngFilter filter(tile, choice);
    const std::size_t tileBytes = filter.filteredRowBytes() * static_cast<std::size_t>(tileRows);
    PixelBuffer sample;
    sample.resize(tileBytes * tilesPerSide * tilesPerSide);
    for (int index = 0; index < tilesPerSide * tilesPerSide; ++index) {
        const int row = (stripe.count() - tileRows) * (index / tilesPerSide) / (tilesPerSide - 1);
        const int column =
            static_cast<int>(std::int64_t{form.width - tile.width} * (index % tilesPerSide) / (tilesPerSide - 1));
        const RowStripe part =
            stripe.part(row, tileRows, static_cast<std::size_t>(column) * form.bytesPerPixel(), tile.rowBytes());
        filter.filter(part, std::span(sample).subspan(tileBytes * static_cast<std::size_t>(index), tileBytes));
    }
    return sample;
}

/// Tries the ways of compression on samples. Filters make photographs smaller and drawn content larger. The quick
/// compressor is taken where it costs little size: on photographs, whose noise no compressor can do much about.
Strategy chooseStrategy(const RasterForm& form, const RowStripe& stripe)
{
    using Deflate::Effort;
    const auto sizeOf = [](const PixelBuffer& sample, Effort effort) {
        return static_cast<double>(Deflate::stream(sample, effort).size());
    };
    constexpr double noisyShare = 0.3; // of the raw size, where the kind of content is beyond doubt
    constexpr double tolerance =
        1.2; // by which a photograph may grow; five times faster, still below what others write
    const PixelBuffer plain = filteredSample(form, stripe, PngFilterChoice::none);
    const PixelBuffer adaptive = filteredSample(form, stripe, PngFilterChoice::adaptive);
    double plainSize = sizeOf(plain, Effort::quick);
    double adaptiveSize = sizeOf(adaptive, Effort::quick);
    const double quickPlainSize = plainSize;
    const double quickAdaptiveSize = adaptiveSize;
    const bool noisy = std::min(plainSize, adaptiveSize) > noisyShare * static_cast<double>(plain.size());
    if (!noisy)
        plainSize = sizeOf(plain, Effort::thorough);
    if (!noisy || adaptiveSize <= plainSize)
        adaptiveSize = sizeOf(adaptive, Effort::thorough);
    if (plainSize < adaptiveSize)
        return {PngFilterChoice::none,
                noisy || quickPlainSize < tolerance * plainSize ? Effort::quick : Effort::thorough};
    return {PngFilterChoice::adaptive, quickAdaptiveSize < tolerance * adaptiveSize ? Effort::quick : Effort::thorough};
}

PixelBuffer filtered(const RasterForm& form, const RowStripe& stripe, PngFilterChoice choice)
{
    PngFilter filter(form, choice);
    PixelBuffer bytes;
    bytes.resize(filter.filteredRowBytes() * static_cast<std::size_t>(stripe.count()));
    filter.filter(stripe, bytes);
    return bytes;
}

/// What a thread makes of a stripe.
struct CompressedPart {
    PixelBuffer bytes;
    std::uint32_t sum = 0; ///< Adler-32 of the filtered bytes
    std::size_t filteredSize = 0;
};

class PngWriter {
public:
    PngWriter(RowSource& rows, const EncodeProperties& properties, ByteSink& sink)
        : m_rows(rows)
        , m_form(rows.form())
        , m_properties(properties)
        , m_sink(sink)
        , m_stripeRows(static_cast<int>(
              std::clamp<std::size_t>(partBytes / (m_form.rowBytes() + 1), 1, static_cast<std::size_t>(m_form.height))))
    {
    }

    void write()
    {
        m_sink.write(std::as_bytes(std::span("\x89PNG\r\n\x1A\n", 8)));
        writeHeader();
        writeMetadata();
        writePixels();
        writeChunk("IEND", {});
    }

private:
    void writeChunk(std::string_view type, std::span<const std::byte> content)
    {
        ByteWriter head(std::endian::big);
        head.put32(static_cast<std::uint32_t>(content.size())).put(type);
        const std::uint32_t sum = Deflate::crc32(0, std::span(head.bytes()).subspan(4));
        m_sink.write(head.bytes());
        m_sink.write(content);
        m_sink.write(ByteWriter(std::endian::big).put32(Deflate::crc32(sum, content)).bytes());
    }

    void writeHeader();
    void writeMetadata();
    void writePixels();
    void writeWhole(PngFilterChoice filter);
    void writeInParts(std::optional<Strategy> strategy);
    int stripeCount() const { return (m_form.height + m_stripeRows - 1) / m_stripeRows; }
    /// Reads the rows of a stripe; `before` is the stripe above, if any.
    std::shared_ptr<const RowStripe> stripeAt(int index, const RowStripe* before)
    {
        const int y = index * m_stripeRows;
        return std::make_shared<const RowStripe>(m_rows, y, std::min(m_stripeRows, m_form.height - y), before);
    }

    RowSource& m_rows;
    const RasterForm& m_form;
    const EncodeProperties& m_properties;
    ByteSink& m_sink;
    int m_stripeRows;
};

void PngWriter::writeHeader()
{
    const std::uint32_t colorType = (m_form.model == ColorModel::gray ? 0u : 2u) + (m_form.hasAlpha ? 4u : 0u);
    ByteWriter header(std::endian::big);
    header.put32(static_cast<std::uint32_t>(m_form.width)).put32(static_cast<std::uint32_t>(m_form.height));
    header.put8(static_cast<std::uint32_t>(m_form.bitsPerComponent)).put8(colorType).put8(0).put8(0).put8(0);
    writeChunk("IHDR", header.bytes());
}

/// IPTC has no chunk of its own; readers look for this text, hexadecimal with its length.
std::string rawProfileText(std::span<const std::byte> content)
{
    std::array<char, 32> head{};
    std::snprintf(head.data(), head.size(), "\niptc\n%8zu", content.size());
    std::string text(head.data());
    for (std::size_t index = 0; index < content.size(); ++index) {
        if (index % 36 == 0)
            text += '\n';
        text += hexadecimal(std::to_integer<std::uint8_t>(content[index]));
    }
    return text + '\n';
}

void PngWriter::writeMetadata()
{
    const ImageMetadata& metadata = m_properties.metadata;
    ByteWriter chunk(std::endian::big);
    const std::span<const std::byte> profile = usableProfile(m_form);
    if (profile.empty()) {
        writeChunk("sRGB", chunk.put8(0).bytes());
    } else {
        chunk.put("ICC profile").put16(0).put(Deflate::stream(profile, Deflate::Effort::thorough));
        writeChunk("iCCP", chunk.bytes());
    }
    ByteWriter density(std::endian::big);
    density.put32(dotsPerMetre(m_properties.dpiWidth)).put32(dotsPerMetre(m_properties.dpiHeight)).put8(1);
    writeChunk("pHYs", density.bytes());
    if (!metadata.exif.empty())
        writeChunk("eXIf", ExifStructure::withResolution(metadata.exif, m_properties.dpiWidth, m_properties.dpiHeight));
    if (!metadata.iptc.empty()) {
        const std::string text = rawProfileText(photoshopResource(metadata.iptc));
        ByteWriter content(std::endian::big);
        content.put("Raw profile type iptc").put16(0);
        content.put(Deflate::stream(std::as_bytes(std::span(text)), Deflate::Effort::thorough));
        writeChunk("zTXt", content.bytes());
    }
    if (!metadata.auxiliaryXmp.empty()) {
        ByteWriter content(std::endian::big);
        content.put("XML:com.adobe.xmp").putZeros(5).put(metadata.auxiliaryXmp);
        writeChunk("iTXt", content.bytes());
    }
}

void PngWriter::writePixels()
{
    const RasterImage* const beginning = m_rows.beginning();
    if (!beginning)
        return writeInParts(std::nullopt);
    ImageRows look(*beginning);
    const Strategy strategy = chooseStrategy(m_form, RowStripe(look, 0, beginning->height, nullptr));
    const std::size_t filteredBytes = (m_form.rowBytes() + 1) * static_cast<std::size_t>(m_form.height);
    if (m_rows.wholeImage() && strategy.effort == Deflate::Effort::thorough && filteredBytes <= wholeLimit)
        writeWhole(strategy.filter);
    else
        writeInParts(strategy);
}

void PngWriter::writeWhole(PngFilterChoice choice)
{
    const std::size_t rowBytes = m_form.rowBytes() + 1;
    PixelBuffer all;
    all.resize(rowBytes * static_cast<std::size_t>(m_form.height));
    inParallel(stripeCount(), m_properties.threads, {}, [&](int index) {
        const std::shared_ptr<const RowStripe> stripe = stripeAt(index, nullptr);
        PngFilter(m_form, choice)
            .filter(*stripe,
                    std::span(all).subspan(rowBytes * static_cast<std::size_t>(index * m_stripeRows),
                                           rowBytes * static_cast<std::size_t>(stripe->count())));
    });
    writeChunk("IDAT", Deflate::stream(all, Deflate::Effort::thorough));
}

void PngWriter::writeInParts(std::optional<Strategy> strategy)
{
    std::uint32_t sum = Deflate::adler32OfNothing;
    writeChunk("IDAT", ByteWriter(std::endian::big).put16(Deflate::streamHeader).bytes());
    std::shared_ptr<const RowStripe> before;
    Strategy way = strategy.value_or(Strategy());
    const auto begin = [&](std::size_t index) {
        const std::shared_ptr<const RowStripe> stripe = stripeAt(static_cast<int>(index), before.get());
        // What is yet to come cannot be looked at, so the choice is made anew from time to time.
        constexpr std::size_t partsToAChoice = 8;
        if (!strategy && index % partsToAChoice == 0)
            way = chooseStrategy(m_form, *stripe);
        before = stripe;
        const bool last = static_cast<int>(index) + 1 == stripeCount();
        return [this, stripe, last, way] {
            const PixelBuffer bytes = filtered(m_form, *stripe, way.filter);
            return CompressedPart{Deflate::part(bytes, last, way.effort), Deflate::adler32(bytes), bytes.size()};
        };
    };
    const auto take = [&](std::size_t, const CompressedPart& part) {
        sum = Deflate::joinedAdler32(sum, part.sum, part.filteredSize);
        writeChunk("IDAT", part.bytes);
    };
    const int threads = m_properties.threads;
    OrderedPipeline<CompressedPart>(static_cast<std::size_t>(stripeCount()), threads, static_cast<std::size_t>(threads),
                                    {})
        .runJobs(begin, take);
    writeChunk("IDAT", ByteWriter(std::endian::big).put32(sum).bytes());
}

} // namespace

void encodePng(RowSource& rows, const EncodeProperties& properties, ByteSink& sink)
{
    PngWriter(rows, properties, sink).write();
}

} // namespace Pelgra
