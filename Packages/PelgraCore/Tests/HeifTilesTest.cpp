#include "PelgraCore/EngineError.h"
#include "PelgraCore/ImageLoading.h"

#include "pixels/PixelTurning.h"
#include "Support/HeifBoxes.h"
#include "Support/RoundTrip.h"

#include <QTest>

#include <algorithm>
#include <array>

using namespace Pelgra;

namespace {

constexpr int tileSide = 64;

struct Grid {
    int rows = 3;
    int columns = 4;
    int width = 4 * tileSide;
    int height = 3 * tileSide;
    int quarterTurns = 0;
    bool isMirrored = false;
    int cutColumns = 0; ///< from the right, or half of them from each side
    int cutRows = 0; ///< from below, or half of them from above and below
    bool isCutAround = false;
};

RasterImage tilePicture(int number)
{
    RasterImage tile = rampPicture(tileSide, tileSide);
    for (std::byte& sample : tile.pixels)
        sample = static_cast<std::byte>(std::to_integer<int>(sample) / 2 + 10 * number);
    return tile;
}

QByteArray contentOf(const Bytes& file, const char* box)
{
    return heifContent(QByteArray(reinterpret_cast<const char*>(file.data()), static_cast<qsizetype>(file.size())),
                       box);
}

/// What is left, and how far its middle is from that of the whole, as fractions.
QByteArray cutOf(const Grid& grid)
{
    const auto number = [](int value) {
        return heifNumber(static_cast<quint64>(static_cast<qint64>(value)), 4);
    };
    return number(grid.width - grid.cutColumns) + number(1) + number(grid.height - grid.cutRows) + number(1)
        + number(grid.isCutAround ? 0 : -grid.cutColumns) + number(2) + number(grid.isCutAround ? 0 : -grid.cutRows)
        + number(2);
}

/// A picture of tiles as phones write it: hidden items, and one that puts them together and turns the whole.
QByteArray gridFile(const Grid& grid)
{
    const int count = grid.rows * grid.columns;
    const int whole = count + 1;
    QByteArray entries, parts, associations, data;
    QList<qsizetype> sizes;
    for (int id = 1; id <= count; ++id) {
        const QByteArray coded = contentOf(encoded(FileFormat::heic, tilePicture(id)), "mdat");
        sizes.append(coded.size());
        data += coded;
        entries += heifBox("infe",
                           heifNumber(2U << 24 | 1, 4) + heifNumber(static_cast<quint64>(id), 2) + heifNumber(0, 2)
                               + "hvc1" + '\0');
        parts += heifNumber(static_cast<quint64>(id), 2);
        associations += heifNumber(static_cast<quint64>(id), 2) + heifNumber(2, 1) + heifNumber(0x8102, 2);
    }
    entries += heifBox("infe",
                       heifNumber(2U << 24, 4) + heifNumber(static_cast<quint64>(whole), 2) + heifNumber(0, 2) + "grid"
                           + '\0');
    const bool isTurned = grid.quarterTurns != 0, isCut = grid.cutColumns != 0 || grid.cutRows != 0;
    associations += heifNumber(static_cast<quint64>(whole), 2) + heifNumber(1U + isCut + isTurned + grid.isMirrored, 1)
        + heifNumber(3, 1) + (isCut ? heifNumber(0x86, 1) : QByteArray())
        + (isTurned ? heifNumber(0x84, 1) : QByteArray()) + (grid.isMirrored ? heifNumber(0x85, 1) : QByteArray());
    const QByteArray form = heifNumber(0, 2) + heifNumber(static_cast<quint64>(grid.rows - 1), 1)
        + heifNumber(static_cast<quint64>(grid.columns - 1), 1) + heifNumber(static_cast<quint64>(grid.width), 2)
        + heifNumber(static_cast<quint64>(grid.height), 2);
    const auto sizeOf = [](int width, int height) {
        return heifBox("ispe",
                       heifNumber(0, 4) + heifNumber(static_cast<quint64>(width), 4)
                           + heifNumber(static_cast<quint64>(height), 4));
    };
    const QByteArray properties = heifBox("hvcC", contentOf(encoded(FileFormat::heic, tilePicture(1)), "hvcC"))
        + sizeOf(tileSide, tileSide) + sizeOf(grid.width, grid.height)
        + heifBox("irot", heifNumber(static_cast<quint64>(grid.quarterTurns), 1)) + heifBox("imir", heifNumber(1, 1))
        + heifBox("clap", cutOf(grid));
    const auto metaWith = [&](qsizetype dataPlace) {
        QByteArray locations;
        for (int id = 1; id <= count; ++id) {
            const qsizetype size = sizes.at(id - 1);
            locations += heifNumber(static_cast<quint64>(id), 2) + heifNumber(0, 4) + heifNumber(1, 2)
                + heifNumber(static_cast<quint64>(dataPlace), 4) + heifNumber(static_cast<quint64>(size), 4);
            dataPlace += size;
        }
        locations += heifNumber(static_cast<quint64>(whole), 2) + heifNumber(1, 2) + heifNumber(0, 2) + heifNumber(1, 2)
            + heifNumber(0, 4) + heifNumber(static_cast<quint64>(form.size()), 4);
        const auto items = static_cast<quint64>(whole);
        return heifBox(
            "meta",
            heifNumber(0, 4) + heifBox("hdlr", heifNumber(0, 8) + "pict" + QByteArray(13, '\0'))
                + heifBox("pitm", heifNumber(0, 4) + heifNumber(items, 2))
                + heifBox("iloc", heifNumber(1U << 24, 4) + heifNumber(0x4400, 2) + heifNumber(items, 2) + locations)
                + heifBox("iinf", heifNumber(0, 4) + heifNumber(items, 2) + entries)
                + heifBox(
                    "iref",
                    heifNumber(0, 4)
                        + heifBox("dimg", heifNumber(items, 2) + heifNumber(static_cast<quint64>(count), 2) + parts))
                + heifBox("iprp",
                          heifBox("ipco", properties)
                              + heifBox("ipma", heifNumber(0, 4) + heifNumber(items, 4) + associations))
                + heifBox("idat", form));
    };
    const QByteArray start = heifBox("ftyp", QByteArray("heic\0\0\0\0mif1heic", 16));
    return start + metaWith(start.size() + metaWith(0).size() + 8) + heifBox("mdat", data);
}

/// What the tiles come to when each is decoded as a picture of its own.
RasterImage expected(const TemporaryFolder& folder, const Grid& grid)
{
    const int pictureWidth = grid.width - grid.cutColumns, pictureHeight = grid.height - grid.cutRows;
    RasterImage picture = *RasterImage::make(pictureWidth, pictureHeight, ColorModel::rgb, false, 8);
    for (int number = 0; number < grid.rows * grid.columns; ++number) {
        const auto file = write(folder, "tile.heic", encoded(FileFormat::heic, tilePicture(number + 1)));
        const SharedImage tile = ImageLoader::load(file).image;
        const int left = number % grid.columns * tileSide, top = number / grid.columns * tileSide;
        for (int y = 0; y < std::min(tileSide, pictureHeight - top); ++y) {
            const auto width = static_cast<std::size_t>(std::min(tileSide, pictureWidth - left)) * 3;
            std::copy_n(tile->row(y).data(), width, picture.row(top + y).data() + static_cast<std::size_t>(left) * 3);
        }
    }
    constexpr std::array orientations{1U, 8U, 3U, 6U};
    return turnedUpright(picture, orientations.at(static_cast<std::size_t>(grid.quarterTurns)));
}

} // namespace

/// Photos of phones, which are coded in tiles.
class HeifTilesTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void tilesMakeThePicture_data()
    {
        QTest::addColumn<Grid>("grid");
        QTest::newRow("whole tiles") << Grid{};
        QTest::newRow("cut at the edges") << Grid{.width = 4 * tileSide - 21, .height = 3 * tileSide - 40};
        QTest::newRow("cut off") << Grid{.cutColumns = 1, .cutRows = 35};
        QTest::newRow("cut off and turned") << Grid{.quarterTurns = 1, .cutColumns = 30, .cutRows = 1};
        for (int turns = 1; turns < 4; ++turns)
            QTest::addRow("turned %d", turns) << Grid{.width = 250, .height = 190, .quarterTurns = turns};
    }
    void tilesMakeThePicture()
    {
        QFETCH(Grid, grid);
        TemporaryFolder folder;
        const auto file = folder.write("grid.heic", gridFile(grid).toStdString());
        QCOMPARE(largestDifference(*ImageLoader::load(file).image, expected(folder, grid)), 0);
    }

    /// What is mirrored, or lacks tiles, is left to the library, which knows how.
    void otherGridsAreReadToo()
    {
        TemporaryFolder folder;
        const auto file = folder.write("mirrored.heic", gridFile({.isMirrored = true}).toStdString());
        const SharedImage image = ImageLoader::load(file).image;
        QCOMPARE(image->width, 4 * tileSide);
        const RasterImage plain = expected(folder, {});
        QVERIFY(largestDifference(componentsAt(*image, 10, 10), componentsAt(plain, 10, 10)) > 20
                || largestDifference(componentsAt(*image, 10, 10), componentsAt(plain, plain.width - 11, 10)) < 3);
    }

    void cutsAnywhereElseAreReadToo()
    {
        TemporaryFolder folder;
        const Grid grid{.cutColumns = 40, .cutRows = 20, .isCutAround = true};
        const SharedImage image = ImageLoader::load(folder.write("cut.heic", gridFile(grid).toStdString())).image;
        QCOMPARE(image->width, grid.width - 40);
        QCOMPARE(image->height, grid.height - 20);
        QVERIFY(largestDifference(componentsAt(*image, 10, 10), componentsAt(expected(folder, {}), 30, 20)) < 3);
    }

    void damagedTilesAreNoSuccess()
    {
        TemporaryFolder folder;
        QByteArray file = gridFile({});
        file.resize(file.size() - 2000); // the last tiles are gone
        QVERIFY_EXCEPTION_THROWN(ImageLoader::load(folder.write("cut.heic", file.toStdString())), EngineError);
    }
};

QTEST_GUILESS_MAIN(HeifTilesTest)
#include "HeifTilesTest.moc"
