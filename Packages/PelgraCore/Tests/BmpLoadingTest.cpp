#include "PelgraCore/EngineError.h"
#include "PelgraCore/ImageLoading.h"
#include "Support/ImageSamples.h"

#include <QTest>

#include <initializer_list>
#include <vector>

using namespace Pelgra;

namespace {

/// A BMP put together by hand: file header, information header, whatever comes between, pixels.
struct Bmp {
    int width = 2;
    int height = 2;
    unsigned bits = 24;
    unsigned compression = 0;
    unsigned colors = 0;
    unsigned headerSize = 40;
    std::vector<unsigned> extra = {}; ///< words after the 40-byte header: masks, the rest of later headers, palette
    std::vector<unsigned> pixels = {}; ///< bytes
};

void append(Bytes& bytes, std::uint32_t value, unsigned size)
{
    for (unsigned index = 0; index < size; ++index)
        bytes.push_back(static_cast<std::byte>(value >> 8 * index));
}

Bytes encoded(const Bmp& bmp)
{
    Bytes bytes = bytesOf("BM");
    const auto offset = static_cast<std::uint32_t>(14 + 40 + 4 * bmp.extra.size());
    append(bytes, static_cast<std::uint32_t>(offset + bmp.pixels.size()), 4);
    append(bytes, 0, 4);
    append(bytes, offset, 4);
    append(bytes, bmp.headerSize, 4);
    append(bytes, static_cast<std::uint32_t>(bmp.width), 4);
    append(bytes, static_cast<std::uint32_t>(bmp.height), 4);
    append(bytes, 1, 2);
    append(bytes, bmp.bits, 2);
    append(bytes, bmp.compression, 4);
    append(bytes, 0, 4);
    append(bytes, 11811, 4);
    append(bytes, 5906, 4);
    append(bytes, bmp.colors, 4);
    append(bytes, 0, 4);
    for (const unsigned word : bmp.extra)
        append(bytes, word, 4);
    for (const unsigned byte : bmp.pixels)
        append(bytes, byte, 1);
    return bytes;
}

LoadedImage load(const Bmp& bmp)
{
    TemporaryFolder folder;
    return ImageLoader::load(write(folder, "a.bmp", encoded(bmp)));
}

bool isUnreadable(const Bmp& bmp)
{
    try {
        load(bmp);
        return false;
    } catch (const EngineError& error) {
        return error.caseName() == "unreadable";
    }
}

using Components = std::vector<int>;

const std::vector<unsigned> fourColors{0x000000, 0xFF0000, 0x00FF00, 0x0000FF};

} // namespace

class BmpLoadingTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void rowsRunFromTheBottomUnlessTheHeightIsNegative()
    {
        const std::vector<unsigned> pixels{1, 2, 3, 4, 5, 6, 0, 0, 7, 8, 9, 10, 11, 12, 0, 0};
        const LoadedImage bottomUp = load({.pixels = pixels});
        QCOMPARE(componentsAt(*bottomUp.image, 1, 0), (Components{12, 11, 10}));
        QCOMPARE(bottomUp.dpiWidth, 300.0);
        QCOMPARE(bottomUp.dpiHeight, 150.0);
        QCOMPARE(componentsAt(*load({.height = -2, .pixels = pixels}).image, 1, 0), (Components{6, 5, 4}));
    }

    void unpacksPalettes()
    {
        const LoadedImage two =
            load({.width = 5, .height = 1, .bits = 2, .colors = 4, .extra = fourColors, .pixels = {0x1B, 0x80, 0, 0}});
        QCOMPARE(componentsAt(*two.image, 1, 0), (Components{255, 0, 0}));
        QCOMPARE(componentsAt(*two.image, 3, 0), (Components{0, 0, 255}));
        QCOMPARE(componentsAt(*two.image, 4, 0), (Components{0, 255, 0}));
        // An index beyond the stored colours is black, not a crash.
        const LoadedImage beyond =
            load({.width = 1, .height = 1, .bits = 8, .colors = 4, .extra = fourColors, .pixels = {200, 0, 0, 0}});
        QCOMPARE(componentsAt(*beyond.image, 0, 0), (Components{0, 0, 0}));
    }

    void roundsComponentsOfOddWidths()
    {
        // 27 of 31 is 222.1 of 255.
        const LoadedImage plain = load({.width = 1, .height = 1, .bits = 16, .pixels = {27, 0x7C, 0, 0}});
        QCOMPARE(componentsAt(*plain.image, 0, 0), (Components{255, 0, 222}));
        const LoadedImage fields = load({.width = 1,
                                         .height = 1,
                                         .bits = 16,
                                         .compression = 3,
                                         .extra = {0xF800, 0x07E0, 0x001F},
                                         .pixels = {0xFF, 0x07, 0, 0}});
        QCOMPARE(componentsAt(*fields.image, 0, 0), (Components{0, 255, 255}));
    }

    void knowsMeantAlphaFromPadding()
    {
        const Bmp padded{.width = 2, .height = 1, .bits = 32, .pixels = {1, 2, 3, 0, 4, 5, 6, 0}};
        QVERIFY(!load(padded).image->hasAlpha);
        Bmp full = padded;
        full.pixels[3] = full.pixels[7] = 255;
        QVERIFY(!load(full).image->hasAlpha);
        Bmp version5{.width = 2, .height = 1, .bits = 32, .compression = 3, .headerSize = 124, .pixels = padded.pixels};
        version5.extra = {0xFF0000, 0xFF00, 0xFF, 0xFF000000};
        version5.extra.resize(21);
        version5.pixels[3] = 128;
        QCOMPARE(componentsAt(*load(version5).image, 0, 0), (Components{3, 2, 1, 128}));
    }

    void followsRunLengths_data()
    {
        QTest::addColumn<int>("compression");
        QTest::addColumn<QList<int>>("codes");
        QTest::addColumn<QList<int>>("pixels"); // palette indexes, rows of four from the top
        QTest::newRow("runs") << 1 << QList<int>{2, 1, 2, 3, 0, 0, 0, 1} << QList<int>{1, 1, 3, 3};
        QTest::newRow("literals with padding")
            << 1 << QList<int>{0, 3, 1, 2, 3, 0, 1, 1, 0, 1} << QList<int>{1, 2, 3, 1};
        QTest::newRow("moves") << 1 << QList<int>{1, 1, 0, 2, 2, 0, 1, 2, 0, 1} << QList<int>{1, 0, 0, 2};
        QTest::newRow("no end") << 1 << QList<int>{2, 1} << QList<int>{1, 1, 0, 0};
        QTest::newRow("too long") << 1 << QList<int>{255, 2, 255, 2, 0, 2, 255, 255, 3, 3} << QList<int>{2, 2, 2, 2};
        QTest::newRow("lines") << 1 << QList<int>{3, 1, 0, 0, 4, 2, 0, 1} << QList<int>{2, 2, 2, 2, 1, 1, 1, 0};
        QTest::newRow("moves up") << 1 << QList<int>{1, 1, 0, 2, 1, 1, 1, 2, 0, 1}
                                  << QList<int>{0, 0, 2, 0, 1, 0, 0, 0};
        QTest::newRow("half bytes") << 2 << QList<int>{3, 0x12, 1, 0x30, 0, 1} << QList<int>{1, 2, 1, 3};
        QTest::newRow("half-byte literals")
            << 2 << QList<int>{0, 3, 0x12, 0x30, 1, 0x20, 0, 1} << QList<int>{1, 2, 3, 2};
    }

    void followsRunLengths()
    {
        QFETCH(int, compression);
        QFETCH(QList<int>, codes);
        QFETCH(QList<int>, pixels);
        Bmp bmp{.width = 4,
                .height = static_cast<int>(pixels.size()) / 4,
                .bits = compression == 1 ? 8U : 4U,
                .compression = static_cast<unsigned>(compression),
                .colors = 4,
                .extra = fourColors};
        for (const int code : codes)
            bmp.pixels.push_back(static_cast<unsigned>(code));
        const LoadedImage loaded = load(bmp);
        for (int index = 0; index < pixels.size(); ++index) {
            const unsigned color = fourColors[static_cast<std::size_t>(pixels[index])];
            QCOMPARE(componentsAt(*loaded.image, index % 4, index / 4),
                     (Components{static_cast<int>(color >> 16), static_cast<int>(color >> 8 & 255),
                                 static_cast<int>(color & 255)}));
        }
    }

    void showsTheRowsThatCame()
    {
        const LoadedImage loaded = load({.width = 1, .height = 3, .pixels = {1, 2, 3, 0, 4, 5, 6}});
        QCOMPARE(componentsAt(*loaded.image, 0, 2), (Components{3, 2, 1}));
        QCOMPARE(componentsAt(*loaded.image, 0, 1), (Components{6, 5, 4}));
        QVERIFY(isUnreadable({.width = 1, .height = 3, .pixels = {1, 2}}));
    }

    void pixelsNeverBeginInsideTheHeader()
    {
        TemporaryFolder folder;
        Bytes file = encoded({.width = 1, .height = 1, .pixels = {1, 2, 3, 0}});
        file[10] = std::byte{0}; // their stated place, wrong by mistake
        QCOMPARE(componentsAt(*ImageLoader::load(write(folder, "a.bmp", file)).image, 0, 0), (Components{3, 2, 1}));
    }

    void refusesImpossibleHeaders()
    {
        const std::vector<unsigned> pixels(64, 0);
        QVERIFY(isUnreadable({.width = 0, .pixels = pixels}));
        QVERIFY(isUnreadable({.width = -2, .pixels = pixels}));
        QVERIFY(isUnreadable({.height = std::numeric_limits<int>::min(), .pixels = pixels}));
        QVERIFY(isUnreadable({.width = 60000, .height = 60000, .pixels = pixels}));
        QVERIFY(isUnreadable({.bits = 7, .pixels = pixels}));
        QVERIFY(isUnreadable({.compression = 9, .pixels = pixels}));
        QVERIFY(isUnreadable({.bits = 8, .colors = 5000, .pixels = pixels}));
        QVERIFY(isUnreadable({.headerSize = 5, .pixels = pixels}));
    }
};

QTEST_GUILESS_MAIN(BmpLoadingTest)
#include "BmpLoadingTest.moc"
