#include "metadata/ByteWriter.h"
#include "modules/heif/HeifModule.h"
#include "modules/ModuleLoader.h"
#include "modules/tiff/TiffModule.h"
#include "Support/RoundTrip.h"

#include <QTest>

#include <algorithm>
#include <memory>

using namespace Pelgra;

namespace {

DecodedImage decode(FileFormat format, const Bytes& file, int index = 0)
{
    return format == FileFormat::tiff ? module<TiffModule>("tiff").decode(file, index)
                                      : module<HeifModule>("heif").decode(file, index);
}

/// A field of a hand-written page: tag, type, count, and the value or its offset.
struct Field {
    std::uint32_t tag, type, count, value;
};

/// A TIFF file of one page whose data, an even number of bytes, follows the header.
Bytes tiffPage(std::endian order, const Bytes& data, std::vector<Field> fields)
{
    constexpr std::uint32_t dataOffset = 8;
    if (std::ranges::none_of(fields, [](const Field& field) { return field.tag == 273; })) {
        fields.push_back({273, 4, 1, dataOffset});
        fields.push_back({279, 4, 1, static_cast<std::uint32_t>(data.size())});
    }
    std::sort(fields.begin(), fields.end(), [](const Field& a, const Field& b) { return a.tag < b.tag; });
    ByteWriter file(order);
    file.put(order == std::endian::little ? "II" : "MM").put16(42);
    file.put32(static_cast<std::uint32_t>(dataOffset + data.size())).put(data);
    file.put16(static_cast<std::uint32_t>(fields.size()));
    for (const Field& field : fields) {
        file.put16(field.tag).put16(field.type).put32(field.count);
        if (field.type == 3 && field.count == 1)
            file.put16(field.value).put16(0);
        else
            file.put32(field.value);
    }
    return file.put32(0).bytes();
}

Bytes bytes(std::initializer_list<int> values)
{
    Bytes result;
    for (const int value : values)
        result.push_back(static_cast<std::byte>(value));
    return result;
}

/// Fields of a page 4 pixels wide with one strip.
std::vector<Field> form(std::uint32_t height, std::uint32_t bits, std::uint32_t samples, std::uint32_t photometric)
{
    return {{256, 3, 1, 4},           {257, 3, 1, height},  {258, 3, 1, bits},
            {262, 3, 1, photometric}, {277, 3, 1, samples}, {278, 3, 1, height}};
}

EncodeProperties richProperties()
{
    EncodeProperties properties;
    properties.dpiWidth = 300;
    properties.dpiHeight = 118 * 2.54;
    properties.metadata.exif = exifSample();
    properties.metadata.iptc = iptcSample();
    properties.metadata.auxiliaryXmp = xmpSample();
    return properties;
}

} // namespace

class PictureModulesTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void tiffKeepsEveryPixelAndBlock_data() { addFormRows(); }
    void tiffKeepsEveryPixelAndBlock()
    {
        QFETCH(int, model);
        QFETCH(bool, alpha);
        QFETCH(int, bits);
        // High enough for several strips.
        RasterImage image = rampPicture(501, 400, static_cast<ColorModel>(model), alpha, bits);
        if (image.model == ColorModel::rgb)
            image.iccProfile = wideRgbProfile();
        EncodeProperties properties = richProperties();
        properties.threads = 2;
        for (const bool bigEndian : {false, true}) {
            ExifSampleOptions options;
            options.bigEndian = bigEndian;
            properties.metadata.exif = exifSample(options);
            const DecodedImage decoded = decode(FileFormat::tiff, encoded(FileFormat::tiff, image, properties));
            QCOMPARE(largestDifference(decoded.image, image), 0);
            QCOMPARE(decoded.image.iccProfile, image.iccProfile);
            QCOMPARE(decoded.dpiX, 300.0);
            QVERIFY(std::abs(*decoded.dpiY - 299.72) < 0.001);
            QCOMPARE(decoded.orientation, 1u);
            QVERIFY(std::equal(properties.metadata.iptc.begin(), properties.metadata.iptc.end(), decoded.iptc.begin()));
            QCOMPARE(decoded.xmp, properties.metadata.auxiliaryXmp);
            QVERIFY(contains(decoded.exif, "Lens 50") && contains(decoded.exif, "Pelgra"));
        }
    }

    void heicKeepsTheLookAndBlocks_data() { addFormRows(); }
    void heicKeepsTheLookAndBlocks()
    {
        QFETCH(int, model);
        QFETCH(bool, alpha);
        QFETCH(int, bits);
        const auto colors = static_cast<ColorModel>(model);
        // Of the last, tiles are coded.
        for (const int size : {64, 37, 1445}) {
            RasterImage image = testPicture(size, size + 10, colors, alpha, bits);
            if (colors == ColorModel::rgb)
                image.iccProfile = wideRgbProfile();
            const EncodeProperties properties = richProperties();
            const DecodedImage decoded = decode(FileFormat::heic, encoded(FileFormat::heic, image, properties));
            QCOMPARE(decoded.image.width, image.width);
            QCOMPARE(decoded.image.height, image.height);
            QCOMPARE(decoded.image.hasAlpha, alpha);
            QCOMPARE(decoded.image.bitsPerComponent, bits);
            for (const Quadrant quadrant :
                 {Quadrant::topLeft, Quadrant::topRight, Quadrant::bottomLeft, Quadrant::bottomRight}) {
                std::vector<int> wanted = quadrantComponents(colors, alpha, bits, quadrant);
                // Grey of a size the encoder must pad is read back in colour.
                if (decoded.image.model != colors)
                    wanted.insert(wanted.begin(), 2, wanted.front());
                const int tolerance = bits == 16 ? 10 * 257 : 10;
                QVERIFY(largestDifference(componentsIn(decoded.image, quadrant), wanted) <= tolerance);
            }
            QCOMPARE(decoded.image.iccProfile, image.iccProfile);
            QCOMPARE(decoded.dpiX, 300.0);
            QVERIFY(std::abs(*decoded.dpiY - 299.72) < 0.001);
            QVERIFY(contains(decoded.exif, "Lens 50") && contains(decoded.exif, "Pelgra"));
            QCOMPARE(decoded.iptc, properties.metadata.iptc);
            QVERIFY(contains(decoded.xmp, "Lens 50"));
        }
    }

    /// The encoder pads odd sizes, and the library gives such grey back in colour.
    void greyWithAProfileStaysGrey()
    {
        RasterImage image = testPicture(37, 21, ColorModel::gray);
        image.iccProfile = grayProfile();
        const DecodedImage decoded = decode(FileFormat::heic, encoded(FileFormat::heic, image, {}));
        QCOMPARE(decoded.image.model, ColorModel::gray);
        QCOMPARE(decoded.image.iccProfile, image.iccProfile);
    }

    void aReducedCopyStandsForItsPicture()
    {
        const DecodedImage decoded = decode(FileFormat::heic, heicWithReducedPrimary(testPicture(128, 96), 32));
        QCOMPARE(decoded.image.width, 128);
        QCOMPARE(decoded.image.height, 96);
    }

    void heicTakesAnySizeAndQuality()
    {
        EncodeProperties properties;
        for (const double quality : {-0.2, 0.0, 0.9, 1.0, 1.5}) {
            properties.quality = quality;
            for (const auto& [width, height] : {std::pair{1, 1}, {1, 3}, {63, 2}}) {
                const RasterImage image = rampPicture(width, height);
                const DecodedImage decoded = decode(FileFormat::heic, encoded(FileFormat::heic, image, properties));
                QCOMPARE(decoded.image.width, width);
                QCOMPARE(decoded.image.height, height);
            }
        }
        properties.quality = 0.3;
        const RasterImage image = rampPicture(300, 200);
        const std::size_t small = encoded(FileFormat::heic, image, properties).size();
        properties.quality = 0.9;
        QVERIFY(small < encoded(FileFormat::heic, image, properties).size());
    }

    void readsThePageOfTheIndex()
    {
        // Two directories that differ in where their pixels begin.
        Bytes file = tiffPage(std::endian::little, bytes({10, 11, 12, 13, 20, 21, 22, 23}), form(1, 8, 1, 1));
        constexpr std::ptrdiff_t directory = 16;
        Bytes second(file.begin() + directory, file.end());
        const std::size_t next = file.size() - 4;
        file[next] = static_cast<std::byte>(file.size());
        second[2 + 4 * 12 + 8] = std::byte{12}; // its fifth field
        file.insert(file.end(), second.begin(), second.end());
        for (const auto& [index, first] : {std::pair{0, 10}, {1, 20}, {2, 10}, {-1, 10}})
            QCOMPARE(componentsAt(decode(FileFormat::tiff, file, index).image, 0, 0), std::vector{first});
        const Bytes heic = heicOfTwo(testPicture(64, 48), testPicture(96, 32));
        for (const auto& [index, width] : {std::pair{0, 64}, {1, 96}, {2, 64}, {-1, 64}})
            QCOMPARE(decode(FileFormat::heic, heic, index).image.width, width);
    }

    void readsTheKindsOfTiffOthersWrite_data()
    {
        QTest::addColumn<Bytes>("file");
        QTest::addColumn<std::vector<int>>("pixel"); // the second of the first row
        const auto with = [](std::vector<Field> fields, std::initializer_list<Field> more) {
            fields.insert(fields.end(), more);
            return fields;
        };
        constexpr std::endian little = std::endian::little;
        constexpr std::endian big = std::endian::big;
        QTest::newRow("fax: 1 bit, 0 is white")
            << tiffPage(little, bytes({0b01010000, 0}), form(1, 1, 1, 0)) << std::vector{0};
        QTest::newRow("4-bit grey") << tiffPage(little, bytes({0x0F, 0x55}), form(1, 4, 1, 1)) << std::vector{255};
        QTest::newRow("12-bit grey") << tiffPage(little, bytes({0x00, 0x0F, 0xFF, 0, 0, 0}), form(1, 12, 1, 1))
                                     << std::vector{65535};
        QTest::newRow("16-bit grey, big-endian")
            << tiffPage(big, bytes({0, 0, 0x12, 0x34, 0, 0, 0, 0}), form(1, 16, 1, 1)) << std::vector{0x1234};
        QTest::newRow("planes") << tiffPage(little, bytes({1, 2, 3, 4, 5, 6, 7, 8}),
                                            with(form(1, 8, 2, 1), {{284, 3, 1, 1}, {338, 3, 1, 2}}))
                                << std::vector{3, 4};
        QTest::newRow("premultiplied alpha")
            << tiffPage(little, bytes({0, 0, 50, 100, 0, 0, 0, 0}), with(form(1, 8, 2, 1), {{338, 3, 1, 1}}))
            << std::vector{128, 100};
        QTest::newRow("CMYK") << tiffPage(little, bytes({0, 0, 0, 0, 9, 8, 7, 6, 0, 0, 0, 0, 0, 0, 0, 0}),
                                          form(1, 8, 4, 5))
                              << std::vector{9, 8, 7, 6};
        // The palette of two bits is in the data, after the byte of pixels and a byte of padding.
        Bytes palette = bytes({0b00110000, 0});
        for (const int value : {0, 0, 0, 200, 0, 0, 0, 100, 0, 0, 0, 50})
            for (const int byte : {value, value})
                palette.push_back(static_cast<std::byte>(byte));
        QTest::newRow("palette") << tiffPage(little, palette, with(form(1, 2, 1, 3), {{320, 3, 12, 10}}))
                                 << std::vector{200, 100, 50};
        Bytes floats(16);
        const float half = 0.5F;
        std::copy_n(reinterpret_cast<const std::byte*>(&half), 4, floats.begin() + 4);
        QTest::newRow("float") << tiffPage(little, floats, with(form(1, 32, 1, 1), {{339, 3, 1, 3}}))
                               << std::vector{32768};
    }
    void readsTheKindsOfTiffOthersWrite()
    {
        QFETCH(Bytes, file);
        QFETCH(std::vector<int>, pixel);
        const DecodedImage decoded = decode(FileFormat::tiff, file);
        QCOMPARE(decoded.image.width, 4);
        QCOMPARE(componentsAt(decoded.image, 1, 0), pixel);
    }

    /// Colours that the library converts, in strips of two rows and a last one of one.
    void convertedStripsStandInTheirPlaces()
    {
        constexpr int neutral = 128;
        Bytes data;
        for (int row = 0; row < 5; ++row)
            for (int column = 0; column < 4; ++column)
                for (const int value : {40 * row + 10 * column, neutral, neutral})
                    data.push_back(static_cast<std::byte>(value));
        ByteWriter places(std::endian::little);
        for (const std::uint32_t place : {8U, 32U, 56U, 24U, 24U, 12U}) // then the sizes
            places.put32(place);
        const Bytes placeBytes = places.bytes();
        data.insert(data.end(), placeBytes.begin(), placeBytes.end());
        std::vector<Field> fields = form(5, 8, 3, 6); // luma and chroma
        fields.back().value = 2;
        fields[2] = {258, 3, 1, 8};
        fields.insert(fields.end(), {{530, 3, 2, 1 | 1 << 16}, {273, 4, 3, 68}, {279, 4, 3, 80}});
        const DecodedImage decoded = decode(FileFormat::tiff, tiffPage(std::endian::little, data, fields));
        QCOMPARE(decoded.image.height, 5);
        for (int row = 0; row < 5; ++row)
            for (int column = 0; column < 4; ++column) {
                const int grey = 40 * row + 10 * column;
                QVERIFY(largestDifference(componentsAt(decoded.image, column, row), {grey, grey, grey}) <= 1);
            }
    }

    void tiffResolutionsAreInInches()
    {
        std::vector<Field> fields = form(1, 8, 1, 1);
        fields.insert(fields.end(), {{282, 5, 1, 12}, {283, 5, 1, 12}, {274, 3, 1, 6}, {296, 3, 1, 3}});
        Bytes data = bytes({1, 2, 3, 4, 118, 0, 0, 0, 1, 0, 0, 0});
        const DecodedImage decoded = decode(FileFormat::tiff, tiffPage(std::endian::little, data, fields));
        QVERIFY(std::abs(*decoded.dpiX - 299.72) < 0.01);
        QCOMPARE(decoded.orientation, 6u);
        fields.back().value = 1;
        QVERIFY(!decode(FileFormat::tiff, tiffPage(std::endian::little, data, fields)).dpiX);
    }

    void damageIsAnErrorAndNothingElse_data()
    {
        QTest::addColumn<int>("format");
        QTest::newRow("tiff") << static_cast<int>(FileFormat::tiff);
        QTest::newRow("heic") << static_cast<int>(FileFormat::heic);
    }
    void damageIsAnErrorAndNothingElse()
    {
        QFETCH(int, format);
        const auto kind = static_cast<FileFormat::Case>(format);
        const Bytes whole = encoded(kind, rampPicture(60, 50), richProperties());
        const auto tryDecoding = [&](const Bytes& file) {
            try {
                decode(kind, file);
            } catch (const DecodeError&) {
            }
        };
        for (std::size_t size = 0; size < whole.size(); size += 1 + size / 8)
            tryDecoding(Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size)));
        // Every byte of the structure, and some of the pixels.
        const std::size_t step = std::max<std::size_t>(whole.size() / 700, 1);
        for (std::size_t place = 0; place < whole.size(); place += step) {
            Bytes damaged = whole;
            damaged[place] ^= std::byte{0xFF};
            tryDecoding(damaged);
        }
        QVERIFY_EXCEPTION_THROWN(decode(kind, {}), DecodeError);
        QVERIFY_EXCEPTION_THROWN(decode(kind, bytesOf("no picture at all")), DecodeError);
    }

    void enormousPagesAreRefusedBeforeAnythingIsAllocated()
    {
        std::vector<Field> fields = form(1, 8, 1, 1);
        fields[0].value = 60000;
        fields[1].value = 60000;
        QVERIFY_EXCEPTION_THROWN(decode(FileFormat::tiff, tiffPage(std::endian::little, bytes({1, 2}), fields)),
                                 DecodeError);
    }
};

QTEST_GUILESS_MAIN(PictureModulesTest)
#include "PictureModulesTest.moc"
