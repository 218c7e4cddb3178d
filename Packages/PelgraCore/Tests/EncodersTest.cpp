#include "Encoders.h"
#include "OrderedBytes.h"
#include "PelgraCore/EngineError.h"
#include "Support/MemorySink.h"

#include <QTest>

#include <cstring>
#include <map>

using namespace Pelgra;

namespace {

/// A picture with a different value in every component.
RasterImage gradient(int width, int height, ColorModel model, bool alpha, int bits)
{
    RasterImage image = *RasterImage::make(width, height, model, alpha, bits);
    std::uint32_t value = 7;
    for (std::size_t index = 0; index < image.pixels.size(); ++index) {
        value = value * 1664525 + 1013904223;
        image.pixels[index] = static_cast<std::byte>(index / 5 + (value >> 30));
    }
    return image;
}

/// The rows of a picture without the picture, as of a page that is being drawn.
class StreamedRows final : public RowSource {
public:
    explicit StreamedRows(const RasterImage& image)
        : m_rows(image)
    {
    }
    const RasterForm& form() const override { return m_rows.form(); }
    std::span<const std::byte> row(int y) override
    {
        if (y != m_next++)
            throw std::logic_error("rows are asked for once, from the top");
        return m_rows.row(y);
    }

private:
    ImageRows m_rows;
    int m_next = 0;
};

Bytes encoded(FileFormat format, const RasterImage& image, const EncodeProperties& properties = {})
{
    ImageRows rows(image);
    MemorySink sink;
    encodeImage(format, rows, properties, sink);
    return sink.bytes();
}

} // namespace

class EncodersTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void aFullDiskIsReportedByEveryEncoder_data()
    {
        QTest::addColumn<int>("format");
        for (const FileFormat format :
             {FileFormat::jpg, FileFormat::png, FileFormat::tiff, FileFormat::bmp, FileFormat::heic})
            QTest::newRow(std::string(format.rawValue()).c_str()) << static_cast<int>(format);
    }
    void aFullDiskIsReportedByEveryEncoder()
    {
        QFETCH(int, format);
        const auto target = static_cast<FileFormat::Case>(format);
        const RasterImage image = gradient(61, 47, ColorModel::rgb, false, 8);
        const std::size_t size = encoded(target, image).size();
        for (std::size_t capacity = 0; capacity < size; capacity += 1 + capacity / 2) {
            ImageRows rows(image);
            MemorySink sink(capacity);
            QVERIFY_EXCEPTION_THROWN(encodeImage(target, rows, {}, sink), StorageError);
        }
        ImageRows rows(image);
        MemorySink sink(size - 1);
        QVERIFY_EXCEPTION_THROWN(encodeImage(target, rows, {}, sink), StorageError);
    }

    void threadsAndStreamingDoNotChangeTheBytes()
    {
        // Large enough for several parts.
        const RasterImage image = gradient(1500, 900, ColorModel::rgb, true, 8);
        EncodeProperties two;
        two.threads = 3;
        QCOMPARE(encoded(FileFormat::png, image, two), encoded(FileFormat::png, image));
        for (const FileFormat format : {FileFormat::bmp}) {
            StreamedRows rows(image);
            MemorySink sink;
            encodeImage(format, rows, {}, sink);
            QCOMPARE(sink.bytes(), encoded(format, image));
        }
    }

    void bitmapsUseThePlainHeaderUnlessTheyNeedMore_data()
    {
        QTest::addColumn<int>("model");
        QTest::addColumn<bool>("alpha");
        QTest::addColumn<unsigned>("headerSize");
        QTest::addColumn<unsigned>("bitsPerPixel");
        QTest::newRow("colour") << static_cast<int>(ColorModel::rgb) << false << 40u << 24u;
        QTest::newRow("colour, alpha") << static_cast<int>(ColorModel::rgb) << true << 124u << 32u;
        QTest::newRow("grey") << static_cast<int>(ColorModel::gray) << false << 40u << 8u;
        QTest::newRow("grey, alpha") << static_cast<int>(ColorModel::gray) << true << 124u << 32u;
    }
    void bitmapsUseThePlainHeaderUnlessTheyNeedMore()
    {
        QFETCH(int, model);
        QFETCH(bool, alpha);
        QFETCH(unsigned, headerSize);
        QFETCH(unsigned, bitsPerPixel);
        const RasterImage image = gradient(5, 3, static_cast<ColorModel>(model), alpha, 16);
        EncodeProperties properties;
        properties.dpiWidth = 300;
        properties.dpiHeight = 150;
        const Bytes file = encoded(FileFormat::bmp, image, properties);
        const auto at = [&](std::size_t offset) {
            return read32(file, offset, std::endian::little);
        };
        QCOMPARE(at(2), static_cast<unsigned>(file.size()));
        QCOMPARE(at(14), headerSize);
        QCOMPARE(read16(file, 28, std::endian::little), bitsPerPixel);
        QCOMPARE(at(38), 11811u);
        QCOMPARE(at(42), 5906u);
        // The last component of the top left pixel stands in the file's last row, rounded to 8 bits.
        const std::size_t stride = (5 * bitsPerPixel / 8 + 3) / 4 * 4;
        const std::size_t components = static_cast<std::size_t>(image.componentCount());
        std::uint16_t sample = 0;
        std::memcpy(&sample, image.pixels.data() + 2 * (alpha ? components - 1 : 0), 2);
        const auto pixel = file.end() - static_cast<std::ptrdiff_t>(stride) + (alpha ? 3 : bitsPerPixel == 24 ? 2 : 0);
        QCOMPARE(std::to_integer<int>(*pixel), (sample * 255 + 32767) / 65535);
    }

    void unsupportedTargetsAreNamed()
    {
        const RasterImage image = gradient(4, 4, ColorModel::rgb, false, 8);
        try {
            encoded(FileFormat::gif, image);
            QFAIL("nothing was thrown");
        } catch (const EngineError& error) {
            QCOMPARE(error, EngineError::unsupported(FileFormat::gif));
        }
    }

    void rowsThatFailEndTheEncode()
    {
        class BrokenRows final : public RowSource {
        public:
            explicit BrokenRows(const RasterImage& image)
                : m_rows(image)
            {
            }
            const RasterForm& form() const override { return m_rows.form(); }
            std::span<const std::byte> row(int y) override { return y < 20 ? m_rows.row(y) : throw JobCancelled(); }

        private:
            ImageRows m_rows;
        };
        const RasterImage image = gradient(40, 40, ColorModel::rgb, false, 8);
        for (const FileFormat format :
             {FileFormat::jpg, FileFormat::png, FileFormat::tiff, FileFormat::bmp, FileFormat::heic}) {
            BrokenRows rows(image);
            MemorySink sink;
            QVERIFY_EXCEPTION_THROWN(encodeImage(format, rows, {}, sink), JobCancelled);
        }
    }
};

QTEST_GUILESS_MAIN(EncodersTest)
#include "EncodersTest.moc"
