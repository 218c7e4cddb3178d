#include "metadata/ExifStructure.h"
#include "PelgraCore/ImageLoading.h"
#include "Support/ImageSamples.h"

#include <QTest>

#include <array>
#include <bit>
#include <optional>
#include <string>
#include <string_view>

using namespace Pelgra;

namespace {

LoadedImage loadJpeg(const JpegSampleOptions& options)
{
    TemporaryFolder folder;
    return ImageLoader::load(write(folder, "a.jpg", jpegSample(testPicture(40, 30), options)));
}

std::string_view textOf(const Bytes& bytes)
{
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

bool holds(const Bytes& bytes, std::string_view text)
{
    return textOf(bytes).find(text) != std::string_view::npos;
}

/// A number of the first directory; none where the tag is absent. Rationals are divided.
std::optional<double> number(const Bytes& exif, unsigned tag)
{
    const auto directory = ExifStructure::mainDirectory(exif);
    if (!directory)
        return std::nullopt;
    for (const ExifStructure::Field& field : directory->fields) {
        if (field.tag != tag)
            continue;
        const auto value = ExifStructure::valueOf(field, exif, directory->order);
        const auto part = [&](std::size_t place, std::size_t size) {
            double sum = 0;
            for (std::size_t index = 0; index < size; ++index) {
                const std::size_t at = directory->order == std::endian::big ? index : size - 1 - index;
                sum = sum * 256 + std::to_integer<int>(value[place + at]);
            }
            return sum;
        };
        return field.type == 5 ? part(0, 4) / part(4, 4) : part(0, field.type == 3 ? 2 : 4);
    }
    return std::nullopt;
}

/// A 32-bit number of the EXIF directory; none where the tag is absent.
std::optional<unsigned> photoNumber(const Bytes& exif, std::uint16_t tag)
{
    constexpr std::uint16_t exifDirectory = 0x8769;
    const auto directory = ExifStructure::mainDirectory(exif);
    const auto field = ExifStructure::fieldBehind(std::array{exifDirectory}, tag, exif);
    if (!directory || !field)
        return std::nullopt;
    const auto number = std::bit_cast<std::uint32_t>(field->value);
    return directory->order == std::endian::native ? number : __builtin_bswap32(number);
}

} // namespace

class MetadataTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void exifDescribesTheUprightCopy_data()
    {
        QTest::addColumn<bool>("bigEndian");
        QTest::newRow("little-endian") << false;
        QTest::newRow("big-endian") << true;
    }

    void exifDescribesTheUprightCopy()
    {
        QFETCH(bool, bigEndian);
        const Bytes exif = loadJpeg({.exif = exifSample({.orientation = 6,
                                                         .resolution = std::pair{300U, 240U},
                                                         .withThumbnail = true,
                                                         .withStructure = true,
                                                         .bigEndian = bigEndian})})
                               .metadata.exif;
        QCOMPARE(number(exif, 0x112), 1.0);
        QCOMPARE(number(exif, 0x11A), 240.0);
        QCOMPARE(number(exif, 0x11B), 300.0);
        QCOMPARE(number(exif, 0x128), 2.0);
        for (const unsigned structural : {0x100U, 0x102U, 0x103U, 0x111U, 0x117U})
            QVERIFY(!number(exif, structural));
        QCOMPARE(photoNumber(exif, 0xA002), 30U); // the upright size
        QCOMPARE(photoNumber(exif, 0xA003), 40U);
        QVERIFY(holds(exif, "Pelgra"));
        QVERIFY(holds(exif, "2024:05:06 07:08:09"));
        QVERIFY(holds(exif, "Lens 50"));
        QVERIFY(number(exif, 0x8825).has_value());
        QVERIFY(!holds(exif, "ZZZZZZZZ")); // the preview
        QVERIFY(exif.size() < 600);
    }

    void iptcTravels()
    {
        const Bytes iptc = loadJpeg({.iptc = iptcSample("harbour")}).metadata.iptc;
        QVERIFY(holds(iptc, "harbour"));
        QVERIFY(holds(iptc, "Ada"));
    }

    void ofXmpOnlyTheAuxiliaryPropertiesTravel()
    {
        const Bytes xmp = loadJpeg({.xmp = xmpSample()}).metadata.auxiliaryXmp;
        QVERIFY(holds(xmp, "Lens 50"));
        QVERIFY(!holds(xmp, "Quay"));
        QVERIFY(!holds(xmp, "Some Editor"));
    }

    void readsTheBlocksOfPng()
    {
        TemporaryFolder folder;
        const Bytes png = pngSample(testPicture(8, 8), {.exif = exifSample({.orientation = 3}), .xmp = xmpSample()});
        const LoadedImage loaded = ImageLoader::load(write(folder, "a.png", png));
        QCOMPARE(loaded.orientation, 3U);
        QVERIFY(holds(loaded.metadata.exif, "Pelgra"));
        QVERIFY(holds(loaded.metadata.auxiliaryXmp, "Lens 50"));
    }

    /// Every block cut at many lengths and with many bytes spoilt: the picture still loads.
    void damagedBlocksNeverCostThePicture()
    {
        const Bytes whole = exifSample({.orientation = 6, .resolution = std::pair{300U, 240U}, .withThumbnail = true});
        for (std::size_t size = 1; size < 500; size += 3) {
            const Bytes cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
            QVERIFY(loadJpeg({.exif = cut}).image->width == 40);
            Bytes spoilt = whole;
            spoilt[size] = ~spoilt[size];
            QVERIFY(loadJpeg({.exif = spoilt}).image->width == 40);
        }
        QVERIFY(loadJpeg({.iptc = bytesOf("\x1C\x02\x19\xFF\xFFshort")}).metadata.iptc.empty());
        std::string nested = "http://ns.adobe.com/exif/1.0/aux/";
        for (int depth = 0; depth < 15000; ++depth)
            nested += "<a>";
        QVERIFY(loadJpeg({.xmp = bytesOf(nested)}).metadata.auxiliaryXmp.empty());
    }
};

QTEST_GUILESS_MAIN(MetadataTest)
#include "MetadataTest.moc"
