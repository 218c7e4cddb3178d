#include "codecs/TiffEncoder.h"

#include "codecs/Deflate.h"
#include "metadata/ByteWriter.h"
#include "metadata/ExifStructure.h"
#include "metadata/MetadataBlocks.h"
#include "parallel/OrderedPipeline.h"
#include "pixels/RowStripe.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>
#include <memory>

namespace Pelgra {

namespace {

constexpr std::size_t stripBytes = 256 << 10;

enum FieldType : std::uint16_t { byteType = 1, shortType = 3, longType = 4, rationalType = 5, undefinedType = 7 };

/// Tags of the source's first directory that describe something other than its storage: texts, dates, the camera, and
/// the pointers to the EXIF and GPS directories.
bool travels(std::uint16_t tag)
{
    constexpr std::array<std::uint16_t, 24> ours{254, 255, 256, 257, 258, 259, 262, 263, 264, 265,   266,   273,
                                                 274, 277, 278, 279, 282, 283, 284, 296, 700, 33723, 34377, 34675};
    const bool describesLayout = (tag >= 280 && tag <= 281) || (tag >= 288 && tag <= 293) || (tag >= 317 && tag <= 347)
        || (tag >= 512 && tag <= 532);
    return !describesLayout && std::find(ours.begin(), ours.end(), tag) == ours.end();
}

/// Takes each sample as the difference from the one on its left (TIFF 6.0, section 14), in the file's byte order.
class StripPreparation {
public:
    StripPreparation(const RasterForm& form, bool predict, std::endian order)
        : m_components(static_cast<std::size_t>(form.componentCount()))
        , m_isDeep(form.bitsPerComponent == 16)
        , m_predict(predict)
        , m_swap(order != std::endian::native)
    {
    }

    PixelBuffer operator()(const RowStripe& stripe) const
    {
        const std::size_t rowBytes = stripe.row(0).size();
        PixelBuffer out;
        out.resize(rowBytes * static_cast<std::size_t>(stripe.count()));
        for (int index = 0; index < stripe.count(); ++index) {
            const std::span<const std::byte> row = stripe.row(index);
            std::byte* const to = out.data() + rowBytes * static_cast<std::size_t>(index);
            if (m_isDeep)
                prepareDeep(row, to);
            else
                prepare(row, to);
        }
        return out;
    }

private:
    void prepare(std::span<const std::byte> row, std::byte* to) const
    {
        const std::size_t plain = m_predict ? std::min(m_components, row.size()) : row.size();
        std::copy_n(row.data(), plain, to);
        for (std::size_t index = plain; index < row.size(); ++index)
            to[index] = static_cast<std::byte>(std::to_integer<int>(row[index])
                                               - std::to_integer<int>(row[index - m_components]));
    }

    void prepareDeep(std::span<const std::byte> row, std::byte* to) const
    {
        for (std::size_t index = 0; index < row.size(); index += 2) {
            std::uint16_t sample = sampleAt(row, index);
            if (m_predict && index >= 2 * m_components)
                sample = static_cast<std::uint16_t>(sample - sampleAt(row, index - 2 * m_components));
            if (m_swap)
                sample = static_cast<std::uint16_t>(sample << 8 | sample >> 8);
            std::memcpy(to + index, &sample, 2);
        }
    }

    static std::uint16_t sampleAt(std::span<const std::byte> row, std::size_t offset)
    {
        std::uint16_t sample = 0;
        std::memcpy(&sample, row.data() + offset, 2);
        return sample;
    }

    std::size_t m_components;
    bool m_isDeep;
    bool m_predict;
    bool m_swap;
};

/// The fast compressor for photographs; what shrinks a lot is drawn content, where the thorough one gains much in
/// little time.
PixelBuffer compressed(std::span<const std::byte> strip)
{
    PixelBuffer quick = Deflate::stream(strip, Deflate::Effort::quick);
    if (quick.size() * 3 > strip.size())
        return quick;
    PixelBuffer thorough = Deflate::stream(strip, Deflate::Effort::thorough);
    return thorough.size() < quick.size() ? std::move(thorough) : std::move(quick);
}

class TiffWriter {
public:
    TiffWriter(RowSource& rows, const EncodeProperties& properties, ByteSink& sink)
        : m_rows(rows)
        , m_form(rows.form())
        , m_properties(properties)
        , m_sink(sink)
        , m_exif(ExifStructure::mainDirectory(properties.metadata.exif))
        , m_order(m_exif ? m_exif->order : std::endian::little)
        , m_stripRows(static_cast<int>(
              std::clamp<std::size_t>(stripBytes / m_form.rowBytes(), 1, static_cast<std::size_t>(m_form.height))))
    {
    }

    void write();

private:
    struct Entry {
        ExifStructure::Field field;
        Bytes value; ///< what does not fit into the field; empty where it does or stands in the file already
    };

    void append(std::span<const std::byte> bytes)
    {
        if (bytes.size() > std::numeric_limits<std::uint32_t>::max() - m_position)
            throw std::runtime_error("a TIFF file cannot hold more than 4 GiB");
        m_sink.write(bytes);
        m_position += bytes.size();
        if (m_position % 2 != 0) {
            constexpr std::array<std::byte, 1> padding{};
            m_sink.write(padding);
            ++m_position;
        }
    }

    bool predictionPays();
    void writeStrips(bool predict);
    void add(std::uint16_t tag, FieldType type, std::size_t count, Bytes value);
    void addShorts(std::uint16_t tag, std::size_t count, std::uint32_t value);
    void addLongs(std::uint16_t tag, const std::vector<std::uint32_t>& values);
    void addResolution(std::uint16_t tag, double dpi);
    void addPictureFields(bool predict);
    void addMetadataFields();
    void writeDirectory();

    RowSource& m_rows;
    const RasterForm& m_form;
    const EncodeProperties& m_properties;
    ByteSink& m_sink;
    std::optional<ExifStructure::MainDirectory> m_exif;
    std::endian m_order;
    int m_stripRows;
    std::uint64_t m_position = 0; ///< bytes written
    std::vector<std::uint32_t> m_offsets;
    std::vector<std::uint32_t> m_sizes;
    std::vector<Entry> m_entries;
};

void TiffWriter::write()
{
    // The EXIF structure is a TIFF file without pictures: the file begins with it, and every offset inside stays right.
    if (m_exif) {
        append(m_properties.metadata.exif);
    } else {
        append(ByteWriter(m_order).put("II").put16(42).put32(0).bytes());
    }
    const bool predict = predictionPays();
    writeStrips(predict);
    addPictureFields(predict);
    addMetadataFields();
    writeDirectory();
}

bool TiffWriter::predictionPays()
{
    const RasterImage* const beginning = m_rows.beginning();
    if (!beginning)
        return true;
    ImageRows look(*beginning);
    std::size_t plain = 0;
    std::size_t predicted = 0;
    constexpr int samples = 8;
    const int count = std::max(m_stripRows / samples, 1);
    for (int index = 0; index < samples; ++index) {
        const auto y = static_cast<int>(std::int64_t{beginning->height - count} * index / (samples - 1));
        const RowStripe stripe(look, y, count, nullptr);
        plain += Deflate::stream(StripPreparation(m_form, false, m_order)(stripe), Deflate::Effort::quick).size();
        predicted += Deflate::stream(StripPreparation(m_form, true, m_order)(stripe), Deflate::Effort::quick).size();
    }
    return predicted <= plain;
}

void TiffWriter::writeStrips(bool predict)
{
    const StripPreparation prepare(m_form, predict, m_order);
    const int count = (m_form.height + m_stripRows - 1) / m_stripRows;
    const auto begin = [&](std::size_t index) {
        const int y = static_cast<int>(index) * m_stripRows;
        const auto stripe =
            std::make_shared<const RowStripe>(m_rows, y, std::min(m_stripRows, m_form.height - y), nullptr);
        return [stripe, prepare] {
            return compressed(prepare(*stripe));
        };
    };
    const auto take = [&](std::size_t, const PixelBuffer& strip) {
        m_offsets.push_back(static_cast<std::uint32_t>(m_position));
        m_sizes.push_back(static_cast<std::uint32_t>(strip.size()));
        append(strip);
    };
    const int threads = m_properties.threads;
    OrderedPipeline<PixelBuffer>(static_cast<std::size_t>(count), threads, static_cast<std::size_t>(threads), {})
        .runJobs(begin, take);
}

void TiffWriter::add(std::uint16_t tag, FieldType type, std::size_t count, Bytes value)
{
    Entry entry{{tag, type, static_cast<std::uint32_t>(count), {}}, {}};
    if (value.size() <= 4)
        std::copy(value.begin(), value.end(), entry.field.value.begin());
    else
        entry.value = std::move(value);
    m_entries.push_back(std::move(entry));
}

void TiffWriter::addShorts(std::uint16_t tag, std::size_t count, std::uint32_t value)
{
    ByteWriter bytes(m_order);
    for (std::size_t index = 0; index < count; ++index)
        bytes.put16(value);
    add(tag, shortType, count, bytes.bytes());
}

void TiffWriter::addLongs(std::uint16_t tag, const std::vector<std::uint32_t>& values)
{
    ByteWriter bytes(m_order);
    for (const std::uint32_t value : values)
        bytes.put32(value);
    add(tag, longType, values.size(), bytes.bytes());
}

void TiffWriter::addResolution(std::uint16_t tag, double dpi)
{
    const auto [numerator, denominator] = ExifStructure::resolutionFraction(dpi);
    add(tag, rationalType, 1, ByteWriter(m_order).put32(numerator).put32(denominator).bytes());
}

void TiffWriter::addPictureFields(bool predict)
{
    constexpr std::uint32_t deflate = 8;
    constexpr std::uint32_t blackIsZero = 1;
    constexpr std::uint32_t rgb = 2;
    constexpr std::uint32_t inches = 2;
    constexpr std::uint32_t straightAlpha = 2;
    const auto components = static_cast<std::size_t>(m_form.componentCount());
    addLongs(256, {static_cast<std::uint32_t>(m_form.width)});
    addLongs(257, {static_cast<std::uint32_t>(m_form.height)});
    addShorts(258, components, static_cast<std::uint32_t>(m_form.bitsPerComponent));
    addShorts(259, 1, deflate);
    addShorts(262, 1, m_form.model == ColorModel::gray ? blackIsZero : rgb);
    addLongs(273, m_offsets);
    addShorts(274, 1, 1); // upright
    addShorts(277, 1, static_cast<std::uint32_t>(components));
    addLongs(278, {static_cast<std::uint32_t>(m_stripRows)});
    addLongs(279, m_sizes);
    addResolution(282, m_properties.dpiWidth);
    addResolution(283, m_properties.dpiHeight);
    addShorts(284, 1, 1); // components of a pixel together
    addShorts(296, 1, inches);
    if (predict)
        addShorts(317, 1, 2);
    if (m_form.hasAlpha)
        addShorts(338, 1, straightAlpha);
}

void TiffWriter::addMetadataFields()
{
    const ImageMetadata& metadata = m_properties.metadata;
    if (!metadata.auxiliaryXmp.empty())
        add(700, byteType, metadata.auxiliaryXmp.size(), metadata.auxiliaryXmp);
    if (!metadata.iptc.empty()) {
        // Declared as four-byte numbers, though they are bytes: other readers accept nothing else.
        Bytes records = metadata.iptc;
        records.resize((records.size() + 3) / 4 * 4);
        const std::size_t count = records.size() / 4;
        add(33723, longType, count, std::move(records));
    }
    const std::span<const std::byte> profile = usableProfile(m_form);
    if (!profile.empty())
        add(34675, undefinedType, profile.size(), Bytes(profile.begin(), profile.end()));
    for (const ExifStructure::Field& field : m_exif ? m_exif->fields : std::vector<ExifStructure::Field>()) {
        if (travels(field.tag))
            m_entries.push_back({field, {}});
    }
}

void TiffWriter::writeDirectory()
{
    std::stable_sort(m_entries.begin(), m_entries.end(),
                     [](const Entry& first, const Entry& second) { return first.field.tag < second.field.tag; });
    for (Entry& entry : m_entries) {
        if (entry.value.empty())
            continue;
        const ByteWriter offset = ByteWriter(m_order).put32(static_cast<std::uint32_t>(m_position));
        std::copy_n(offset.bytes().begin(), 4, entry.field.value.begin());
        append(entry.value);
    }
    const ByteWriter start = ByteWriter(m_order).put32(static_cast<std::uint32_t>(m_position));
    ByteWriter directory(m_order);
    directory.put16(static_cast<std::uint32_t>(m_entries.size()));
    for (const auto& [field, value] : m_entries)
        directory.put16(field.tag).put16(field.type).put32(field.count).put(field.value);
    append(directory.put32(0).bytes());
    m_sink.writeAt(4, start.bytes());
}

} // namespace

void encodeTiff(RowSource& rows, const EncodeProperties& properties, ByteSink& sink)
{
    TiffWriter(rows, properties, sink).write();
}

} // namespace Pelgra
