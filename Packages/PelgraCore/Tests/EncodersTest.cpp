#include "codecs/bmp/BmpDecoder.h"
#include "codecs/jpeg/JpegDecoder.h"
#include "codecs/png/PngDecoder.h"
#include "metadata/ByteWriter.h"
#include "PelgraCore/EngineError.h"
#include "Support/RoundTrip.h"

#include <QTest>

#include <cstring>
#include <memory>

using namespace Pelgra;

namespace {

/// The rows of a picture without the picture, like those of a page that is being drawn.
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
        const RasterImage image = rampPicture(61, 47, ColorModel::rgb, false, 8);
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

    void pngKeepsEveryPixelAndBlock_data() { addFormRows(); }
    void pngKeepsEveryPixelAndBlock()
    {
        QFETCH(int, model);
        QFETCH(bool, alpha);
        QFETCH(int, bits);
        EncodeProperties properties;
        properties.dpiWidth = 300;
        properties.dpiHeight = 150;
        properties.threads = 2;
        properties.metadata = {exifSample(), iptcSample(), xmpSample()};
        // Noise goes through the fast compressor in parts, flat colours through the thorough one as a whole.
        for (RasterImage image : {rampPicture(700, 900, static_cast<ColorModel>(model), alpha, bits),
                                  testPicture(701, 603, static_cast<ColorModel>(model), alpha, bits)}) {
            if (image.model == ColorModel::rgb)
                image.iccProfile = wideRgbProfile();
            StreamedRows streamed(image);
            MemorySink sink;
            encodeImage(FileFormat::png, streamed, properties, sink);
            for (const Bytes& file : {encoded(FileFormat::png, image, properties), sink.bytes()}) {
                const DecodedImage result = decodePng(file);
                QCOMPARE(largestDifference(result.image, image), 0);
                QCOMPARE(result.image.iccProfile, image.iccProfile);
                QVERIFY(std::abs(*result.dpiX - 300) < 0.02); // whole dots to the metre
                QVERIFY(std::abs(*result.dpiY - 150) < 0.02);
                QVERIFY(contains(result.exif, "Lens 50"));
                QCOMPARE(result.iptc, properties.metadata.iptc);
                QCOMPARE(result.xmp, properties.metadata.auxiliaryXmp);
            }
        }
    }

    void pngEndsAsEveryReaderExpects()
    {
        // A chunk without content, and the checksum of its name.
        constexpr std::string_view end("\0\0\0\0IEND\xAE\x42\x60\x82", 12);
        const Bytes file = encoded(FileFormat::png, testPicture(3, 2));
        QVERIFY(contains({file.end() - static_cast<std::ptrdiff_t>(end.size()), file.end()}, end));
    }

    void drawnContentShrinksFarMoreThanNoise()
    {
        const RasterImage drawn = testPicture(1000, 1000);
        QVERIFY(encoded(FileFormat::png, drawn).size() * 300 < drawn.pixels.size());
        QVERIFY(encoded(FileFormat::tiff, drawn).size() * 100 < drawn.pixels.size());
    }

    void jpegKeepsTheLookAndBlocks_data()
    {
        QTest::addColumn<int>("model");
        QTest::addColumn<int>("bits");
        QTest::newRow("grey") << static_cast<int>(ColorModel::gray) << 8;
        QTest::newRow("grey 16") << static_cast<int>(ColorModel::gray) << 16;
        QTest::newRow("rgb") << static_cast<int>(ColorModel::rgb) << 8;
        QTest::newRow("rgb 16") << static_cast<int>(ColorModel::rgb) << 16;
    }
    void jpegKeepsTheLookAndBlocks()
    {
        QFETCH(int, model);
        QFETCH(int, bits);
        const auto colors = static_cast<ColorModel>(model);
        RasterImage image = testPicture(70, 50, colors, false, bits);
        EncodeProperties properties;
        properties.dpiWidth = 118 * 2.54; // a whole number of dots to the centimetre only
        properties.dpiHeight = 118 * 2.54;
        properties.metadata = {exifSample(), iptcSample(), xmpSample()};
        if (colors == ColorModel::rgb)
            image.iccProfile = wideRgbProfile();
        image.iccProfile.resize(image.iccProfile.empty() ? 0 : 150000); // more than a segment holds
        const DecodedImage result = decodeJpeg(encoded(FileFormat::jpg, image, properties));
        QCOMPARE(result.image.model, colors);
        for (const Quadrant quadrant :
             {Quadrant::topLeft, Quadrant::topRight, Quadrant::bottomLeft, Quadrant::bottomRight})
            QVERIFY(
                largestDifference(componentsIn(result.image, quadrant), quadrantComponents(colors, false, 8, quadrant))
                < 8);
        properties.metadata.exif.clear(); // which says it as well, and comes first
        const DecodedImage plain = decodeJpeg(encoded(FileFormat::jpg, image, properties));
        QVERIFY(std::abs(*result.dpiX - 299.72) < 0.01 && std::abs(*plain.dpiX - 299.72) < 0.01);
        QCOMPARE(result.image.iccProfile, image.iccProfile);
        QVERIFY(contains(result.exif, "Lens 50"));
        QCOMPARE(result.iptc, properties.metadata.iptc);
        QCOMPARE(result.xmp, properties.metadata.auxiliaryXmp);
    }

    void jpegQualityIsClamped()
    {
        const RasterImage image = rampPicture(200, 150);
        const auto sizeAt = [&](double quality) {
            EncodeProperties properties;
            properties.quality = quality;
            return encoded(FileFormat::jpg, image, properties).size();
        };
        QVERIFY(sizeAt(0) < sizeAt(0.5) && sizeAt(0.5) < sizeAt(0.9) && sizeAt(0.9) < sizeAt(1));
        QCOMPARE(sizeAt(-0.2), sizeAt(0));
        QCOMPARE(sizeAt(1.5), sizeAt(1));
    }

    void jpegDropsWhatNoSegmentHolds()
    {
        EncodeProperties properties;
        properties.metadata.exif = exifSample();
        properties.metadata.iptc = Bytes(70000);
        const DecodedImage result = decodeJpeg(encoded(FileFormat::jpg, rampPicture(20, 20), properties));
        QVERIFY(result.iptc.empty());
        QVERIFY(contains(result.exif, "Lens 50"));

        // A maker and something of 70,000 bytes; the maker stays.
        ByteWriter exif(std::endian::little);
        exif.put("II").put16(42).put32(8).put16(2);
        exif.put16(0x010F).put16(2).put32(4).put("Ace").put8(0);
        exif.put16(0x9286).put16(7).put32(70000).put32(38).put32(0).putZeros(70000);
        properties.metadata.exif = exif.bytes();
        const Bytes kept = decodeJpeg(encoded(FileFormat::jpg, rampPicture(20, 20), properties)).exif;
        QVERIFY(contains(kept, "Ace") && kept.size() < 70000);
    }

    void bitmapsKeepEveryPixelAndTheProfile_data() { addFormRows(); }
    void bitmapsKeepEveryPixelAndTheProfile()
    {
        QFETCH(int, model);
        QFETCH(bool, alpha);
        QFETCH(int, bits);
        if (bits == 16)
            return; // rounding is probed below
        RasterImage image = rampPicture(61, 47, static_cast<ColorModel>(model), alpha, bits);
        if (image.model == ColorModel::rgb)
            image.iccProfile = wideRgbProfile();
        const DecodedImage result = decodeBmp(encoded(FileFormat::bmp, image));
        QCOMPARE(result.image.iccProfile, image.iccProfile);
        for (int y = 0; y < image.height; y += 9) {
            for (int x = 0; x < image.width; x += 7) {
                std::vector<int> wanted = componentsAt(image, x, y);
                if (result.image.model != image.model)
                    wanted.insert(wanted.begin(), 2, wanted.front());
                QCOMPARE(componentsAt(result.image, x, y), wanted);
            }
        }
    }

    void threadsAndStreamingDoNotChangeTheBytes()
    {
        // Large enough for several parts.
        const RasterImage image = rampPicture(1500, 900, ColorModel::rgb, true, 8);
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
        const RasterImage image = rampPicture(5, 3, static_cast<ColorModel>(model), alpha, 16);
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

    /// The encoder takes several times the picture's memory.
    void theHeicEncoderRunsWithoutThePicture()
    {
        class Watch final : public ByteSink {
        public:
            explicit Watch(std::weak_ptr<const RasterImage> image)
                : m_image(std::move(image))
            {
            }
            void write(std::span<const std::byte>) override { (m_image.expired() ? wasGone : wasThere) = true; }
            void writeAt(std::size_t, std::span<const std::byte>) override { }
            bool wasGone = false;
            bool wasThere = false;

        private:
            std::weak_ptr<const RasterImage> m_image;
        };
        RasterImage image = rampPicture(80, 64, ColorModel::rgb, false, 8);
        image.iccProfile = wideRgbProfile();
        auto shared = std::make_shared<const RasterImage>(std::move(image));
        Watch sink(shared);
        ImageRows rows(std::move(shared));
        encodeImage(FileFormat::heic, rows, {}, sink);
        QVERIFY(sink.wasGone && !sink.wasThere);
    }

    void unsupportedTargetsAreNamed()
    {
        const RasterImage image = rampPicture(4, 4, ColorModel::rgb, false, 8);
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
        const RasterImage image = rampPicture(40, 40, ColorModel::rgb, false, 8);
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
