#include "codecs/png/PngStructure.h"
#include "Support/ImageSamples.h"

#include <QTest>

#include <algorithm>
#include <cstring>

using namespace Pelgra;

namespace {

std::size_t positionOf(const Bytes& file, std::string_view type)
{
    const auto found = std::search(file.begin(), file.end(), type.begin(), type.end(),
                                   [](std::byte byte, char c) { return byte == static_cast<std::byte>(c); });
    return static_cast<std::size_t>(found - file.begin());
}

} // namespace

class PngStructureTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void readsOpaquePictures_data()
    {
        QTest::addColumn<Bytes>("file");
        QTest::addColumn<int>("bits");
        QTest::addColumn<int>("components");
        QTest::addColumn<int>("colors");
        const auto grayLevels = std::vector<std::uint8_t>(21 * 13, 1);
        const PngIndexedOptions palette{4, {{255, 0, 0, 255}, {0, 255, 0, 255}, {0, 0, 255, 255}}, {}, false};
        QTest::newRow("colour") << pngSample(rampPicture(300, 200)) << 8 << 3 << 0;
        QTest::newRow("colour 16") << pngSample(rampPicture(301, 97, ColorModel::rgb, false, 16)) << 16 << 3 << 0;
        QTest::newRow("grey 16") << pngSample(rampPicture(33, 7, ColorModel::gray, false, 16)) << 16 << 1 << 0;
        QTest::newRow("grey 1") << indexedPngSample(21, 13, grayLevels, {1, {}, {}, false}) << 1 << 1 << 0;
        QTest::newRow("grey 2") << indexedPngSample(21, 13, grayLevels, {2, {}, {}, false}) << 2 << 1 << 0;
        QTest::newRow("palette") << indexedPngSample(21, 13, grayLevels, palette) << 4 << 1 << 3;
    }
    void readsOpaquePictures()
    {
        QFETCH(Bytes, file);
        const auto structure = readPngStructure(file);
        QVERIFY(structure);
        QTEST(structure->bitsPerComponent, "bits");
        QTEST(structure->componentCount(), "components");
        QTEST(static_cast<int>(structure->palette.size() / 3), "colors");
        QVERIFY(structure->width > 0 && structure->height > 0);
    }

    void leavesTransparencyAndInterlaceToTheDecoder()
    {
        QVERIFY(!readPngStructure(pngSample(rampPicture(30, 20, ColorModel::rgb, true))));
        QVERIFY(!readPngStructure(pngSample(rampPicture(30, 20), {true, {}, {}, {}, {}})));
        const std::vector<std::uint8_t> levels(16, 1);
        QVERIFY(!readPngStructure(indexedPngSample(4, 4, levels, {8, {}, 1, false})));
        const PngIndexedOptions palette{8, {{255, 0, 0, 0}, {0, 255, 0, 255}}, {}, false};
        QVERIFY(!readPngStructure(indexedPngSample(4, 4, levels, palette)));
    }

    void refusesWhateverIsCutOffOrChanged()
    {
        const Bytes file = pngSample(rampPicture(40, 30));
        for (std::size_t size = 0; size < file.size(); ++size)
            QVERIFY(!readPngStructure(std::span(file).first(size)));
        for (std::size_t place = 0; place < file.size(); ++place) {
            Bytes changed = file;
            changed[place] ^= std::byte{0x10};
            QVERIFY2(!readPngStructure(changed), std::to_string(place).c_str());
        }
    }

    void theDataMustBeThoseOfTheSizeStated()
    {
        // A sound file of another size lends its header, whose checksum is right too.
        const Bytes small = pngSample(rampPicture(40, 30));
        for (const Bytes& other :
             {pngSample(rampPicture(40, 31)), pngSample(rampPicture(40, 29)), pngSample(rampPicture(41, 30))}) {
            Bytes mixed = small;
            std::copy(other.begin() + 8, other.begin() + 33, mixed.begin() + 8);
            QCOMPARE(positionOf(mixed, "IHDR"), std::size_t{12});
            QVERIFY(!readPngStructure(mixed));
        }
    }
};

QTEST_GUILESS_MAIN(PngStructureTest)
#include "PngStructureTest.moc"
