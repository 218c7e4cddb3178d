#include "codecs/jpeg/JpegStructure.h"
#include "Support/RoundTrip.h"

#include <QTest>

#include <algorithm>
#include <cstring>

using namespace Pelgra;

namespace {

Bytes joined(const JpegStructure& structure)
{
    Bytes bytes;
    for (const auto& part : structure.parts)
        bytes.insert(bytes.end(), part.begin(), part.end());
    return bytes;
}

Bytes fullSample()
{
    JpegSampleOptions options;
    options.exif = exifSample();
    options.iptc = iptcSample();
    options.xmp = xmpSample();
    options.iccProfile = wideRgbProfile();
    options.density = {1, 300, 240};
    return jpegSample(rampPicture(50, 34), options);
}

/// The bytes with others put in before a place.
Bytes with(Bytes file, std::size_t place, const Bytes& more)
{
    file.insert(file.begin() + static_cast<std::ptrdiff_t>(place), more.begin(), more.end());
    return file;
}

std::size_t positionOf(const Bytes& file, std::uint8_t marker)
{
    for (std::size_t i = 2; i + 1 < file.size(); ++i)
        if (file[i] == std::byte{0xFF} && file[i + 1] == std::byte{marker})
            return i;
    return 0;
}

} // namespace

class JpegStructureTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void leavesOutWhatAPageDoesNotNeed()
    {
        const Bytes file = fullSample();
        const auto structure = readJpegStructure(file);
        QVERIFY(structure);
        QCOMPARE(structure->width, 50);
        QCOMPARE(structure->height, 34);
        QCOMPARE(structure->componentCount, 3);
        QCOMPARE(structure->iccProfile, wideRgbProfile());
        const Bytes kept = joined(*structure);
        QVERIFY(contains(file, "Exif") && contains(file, "ICC_PROFILE") && contains(file, "Photoshop"));
        QVERIFY(!contains(kept, "Exif") && !contains(kept, "ICC_PROFILE") && !contains(kept, "Photoshop"));
        QVERIFY(!contains(kept, "ns.adobe.com") && contains(kept, "JFIF"));
        // What is kept is sound itself, and its coded data are those of the file.
        QVERIFY(readJpegStructure(kept));
        const std::size_t scan = file.size() - positionOf(file, 0xDA);
        QVERIFY(std::equal(file.end() - static_cast<std::ptrdiff_t>(scan), file.end(),
                           kept.end() - static_cast<std::ptrdiff_t>(scan)));
    }

    void endsWithTheFirstPicture()
    {
        Bytes file = fullSample();
        const Bytes alone = joined(readJpegStructure(file).value());
        const Bytes second = fullSample();
        file.insert(file.end(), second.begin(), second.end());
        const auto both = readJpegStructure(file);
        QVERIFY(both);
        QVERIFY(joined(*both) == alone);
    }

    void acceptsEveryOrdinaryCoding_data()
    {
        QTest::addColumn<int>("model");
        QTest::addColumn<bool>("progressive");
        QTest::addColumn<bool>("adobe");
        QTest::newRow("grey") << int(ColorModel::gray) << false << false;
        QTest::newRow("grey progressive") << int(ColorModel::gray) << true << false;
        QTest::newRow("colour") << int(ColorModel::rgb) << false << false;
        QTest::newRow("colour progressive") << int(ColorModel::rgb) << true << false;
        QTest::newRow("inks") << int(ColorModel::cmyk) << false << true;
        QTest::newRow("inks, plain") << int(ColorModel::cmyk) << true << false;
    }
    void acceptsEveryOrdinaryCoding()
    {
        QFETCH(int, model);
        QFETCH(bool, progressive);
        QFETCH(bool, adobe);
        JpegSampleOptions options;
        options.progressive = progressive;
        options.adobeMarker = adobe;
        const Bytes file = jpegSample(rampPicture(33, 47, static_cast<ColorModel>(model)), options);
        const auto structure = readJpegStructure(file);
        QVERIFY(structure);
        QCOMPARE(structure->hasAdobeSegment, adobe);
        QVERIFY(!structure->isNamedRGB);
    }

    void refusesWhateverIsCutOff()
    {
        for (const bool progressive : {false, true}) {
            JpegSampleOptions options;
            options.progressive = progressive;
            const Bytes file = jpegSample(rampPicture(24, 24), options);
            for (std::size_t size = 0; size < file.size(); ++size)
                QVERIFY(!readJpegStructure(std::span(file).first(size)));
            QVERIFY(readJpegStructure(file));
        }
    }

    void refusesWhatDecodersWouldRefuse_data()
    {
        QTest::addColumn<int>("marker");
        QTest::addColumn<int>("offset");
        QTest::addColumn<int>("value");
        QTest::newRow("12 bits") << 0xC0 << 4 << 12;
        QTest::newRow("no height") << 0xC0 << 6 << 0;
        QTest::newRow("arithmetic") << 0xC0 << 1 << 0xC9;
        QTest::newRow("lossless") << 0xC0 << 1 << 0xC3;
        QTest::newRow("sampling of nothing") << 0xC0 << 11 << 0x01;
        QTest::newRow("table that is not there") << 0xC0 << 12 << 3;
        QTest::newRow("too many codes") << 0xC4 << 5 << 3;
        QTest::newRow("scan of an unknown component") << 0xDA << 5 << 77;
        QTest::newRow("scan with an unknown table") << 0xDA << 6 << 0x22;
        QTest::newRow("scan of a part of the band") << 0xDA << 12 << 5;
        QTest::newRow("quantisation cut short") << 0xDB << 3 << 66;
    }
    void refusesWhatDecodersWouldRefuse()
    {
        QFETCH(int, marker);
        QFETCH(int, offset);
        QFETCH(int, value);
        Bytes file = jpegSample(rampPicture(40, 40));
        QVERIFY(readJpegStructure(file));
        const std::size_t place = positionOf(file, static_cast<std::uint8_t>(marker));
        QVERIFY(place > 0);
        file[place + static_cast<std::size_t>(offset)] = static_cast<std::byte>(value);
        QVERIFY(!readJpegStructure(file));
    }

    void knowsRedGreenAndBlueByTheirNames()
    {
        Bytes file = jpegSample(rampPicture(40, 40), {.density = {{1, 72, 72}}});
        const std::size_t frame = positionOf(file, 0xC0), scan = positionOf(file, 0xDA);
        for (std::size_t index = 0; index < 3; ++index) {
            file[frame + 10 + 3 * index] = static_cast<std::byte>("RGB"[index]);
            file[scan + 5 + 2 * index] = static_cast<std::byte>("RGB"[index]);
        }
        QVERIFY(!readJpegStructure(file).value().isNamedRGB); // JFIF says what they are
        file.erase(file.begin() + 2, file.begin() + 20);
        QVERIFY(readJpegStructure(file).value().isNamedRGB);
    }

    void refusesWhatDecodersDisagreeAbout()
    {
        const Bytes file = jpegSample(rampPicture(40, 40), {.density = {{1, 72, 72}}});
        const std::size_t frame = positionOf(file, 0xC0);
        Bytes adobe = bytesOf("\xFF\xEE\x01\x0E"
                              "Adobe......\x01"); // YCbCr
        adobe[2] = std::byte{0};
        QVERIFY(readJpegStructure(with(file, frame, adobe)));
        adobe.back() = std::byte{0}; // RGB, where JFIF says YCbCr
        QVERIFY(!readJpegStructure(with(file, frame, adobe)));
    }

    void refusesMoreScansThanAnyProgramWrites()
    {
        Bytes file = jpegSample(rampPicture(40, 40));
        const Bytes scan(file.begin() + static_cast<std::ptrdiff_t>(positionOf(file, 0xDA)), file.end() - 2);
        for (int count = 1; count < 20; ++count)
            file = with(file, file.size() - 2, scan);
        QVERIFY(readJpegStructure(file));
        QVERIFY(!readJpegStructure(with(file, file.size() - 2, scan)));
    }

    void refusesAPictureWithoutItsData()
    {
        Bytes file = jpegSample(rampPicture(400, 400));
        const std::size_t scan = positionOf(file, 0xDA);
        file.erase(file.begin() + static_cast<std::ptrdiff_t>(scan) + 40, file.end() - 2);
        QVERIFY(!readJpegStructure(file));
    }
};

QTEST_GUILESS_MAIN(JpegStructureTest)
#include "JpegStructureTest.moc"
