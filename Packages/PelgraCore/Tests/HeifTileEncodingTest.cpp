#include "PelgraCore/EngineError.h"

#include "images/Encoding.h"
#include "modules/heif/HeifModule.h"
#include "modules/ModuleLoader.h"
#include "Support/RoundTrip.h"

#include <QTest>

#include <algorithm>
#include <cstdlib>
#include <string_view>

using namespace Pelgra;

namespace {

/// The largest picture that is coded as a whole.
constexpr int wholeWidth = 2048, wholeHeight = 1024;
/// One that is coded in tiles, with odd sides.
constexpr int tiledWidth = 1801, tiledHeight = 1203;

/// The rows of a picture without the picture, and how many were asked for.
class CountedRows final : public RowSource {
public:
    explicit CountedRows(const RasterImage& image, int failingRow = -1)
        : m_rows(image)
        , m_failingRow(failingRow)
    {
    }
    const RasterForm& form() const override { return m_rows.form(); }
    std::span<const std::byte> row(int y) override
    {
        if (y == m_failingRow)
            throw JobCancelled();
        if (y != m_count++)
            throw std::logic_error("rows are asked for once, from the top");
        return m_rows.row(y);
    }
    int count() const { return m_count; }

private:
    ImageRows m_rows;
    int m_failingRow;
    int m_count = 0;
};

EncodeProperties onThreads(int threads)
{
    EncodeProperties properties;
    properties.threads = threads;
    return properties;
}

/// Whether more than one picture is coded in a file; the library makes a grid even of one where it must pad it.
bool isOfTiles(const Bytes& file)
{
    const std::string_view text(reinterpret_cast<const char*>(file.data()), file.size());
    const std::size_t first = text.find("hvc1");
    return first != text.npos && text.find("hvc1", first + 1) != text.npos;
}

/// The mean difference of two pictures of one form in a rectangle.
double meanDifference(const RasterImage& left, const RasterImage& right, int x, int y, int width, int height)
{
    double sum = 0;
    const std::size_t step = left.bytesPerPixel();
    for (int row = y; row < y + height; ++row)
        for (std::size_t index = static_cast<std::size_t>(x) * step; index < static_cast<std::size_t>(x + width) * step;
             ++index)
            sum += std::abs(std::to_integer<int>(left.row(row)[index]) - std::to_integer<int>(right.row(row)[index]));
    return sum / (static_cast<double>(step) * width * height);
}

/// Where a tile is out of place or is cut off wrongly, some stretch of 16 pixels differs.
double worstMeanDifference(const RasterImage& left, const RasterImage& right)
{
    constexpr int side = 16;
    double worst = 0;
    for (int y = 0; y < left.height; y += side)
        for (int x = 0; x < left.width; x += side)
            worst = std::max(
                worst,
                meanDifference(left, right, x, y, std::min(side, left.width - x), std::min(side, left.height - y)));
    return worst;
}

} // namespace

/// Large pictures are coded in tiles.
class HeifTileEncodingTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void everyTileIsInItsPlace_data()
    {
        QTest::addColumn<ColorModel>("model");
        QTest::addColumn<double>("quality");
        QTest::newRow("colour, halved") << ColorModel::rgb << 0.9;
        QTest::newRow("colour") << ColorModel::rgb << 1.0;
        QTest::newRow("grey") << ColorModel::gray << 0.9;
    }
    void everyTileIsInItsPlace()
    {
        QFETCH(ColorModel, model);
        QFETCH(double, quality);
        const RasterImage image = rampPicture(tiledWidth, tiledHeight, model);
        EncodeProperties properties = onThreads(2);
        properties.quality = quality;
        const Bytes file = encoded(FileFormat::heic, image, properties);
        QVERIFY(isOfTiles(file));
        const RasterImage decoded = module<HeifModule>("heif").decode(file, 0).image;
        QCOMPARE(decoded.model, model);
        QCOMPARE(decoded.width, tiledWidth);
        QCOMPARE(decoded.height, tiledHeight);
        QVERIFY(worstMeanDifference(decoded, image) < 6);
        const RasterImage others = heicByLibrary(file);
        QCOMPARE(others.width, tiledWidth);
        QCOMPARE(others.height, tiledHeight);
        if (model == ColorModel::rgb)
            QVERIFY(largestDifference(decoded, others) <= 2);
    }

    void theLimitIsKept()
    {
        for (const int extra : {0, 1}) {
            const Bytes file = encoded(FileFormat::heic, testPicture(wholeWidth, wholeHeight + extra));
            QCOMPARE(isOfTiles(file), extra > 0);
            const RasterImage decoded = module<HeifModule>("heif").decode(file, 0).image;
            QCOMPARE(decoded.width, wholeWidth);
            QCOMPARE(decoded.height, wholeHeight + extra);
        }
    }

    void theFileIsTheSameForAnyThreadsAndRows()
    {
        const RasterImage image = rampPicture(tiledWidth, tiledHeight);
        const Bytes file = encoded(FileFormat::heic, image, onThreads(1));
        QCOMPARE(encoded(FileFormat::heic, image, onThreads(3)), file);
        for (const int threads : {1, 3}) {
            CountedRows rows(image);
            MemorySink sink;
            encodeImage(FileFormat::heic, rows, onThreads(threads), sink);
            QCOMPARE(sink.bytes(), file);
        }
    }

    /// A few rows of tiles are in memory, never the picture.
    void rowsAreReadAsTheyAreNeeded()
    {
        class Watch final : public ByteSink {
        public:
            explicit Watch(const CountedRows& rows)
                : m_rows(rows)
            {
            }
            void write(std::span<const std::byte>) override
            {
                if (rowsAtFirst < 0)
                    rowsAtFirst = m_rows.count();
            }
            void writeAt(std::size_t, std::span<const std::byte>) override { }
            int rowsAtFirst = -1;

        private:
            const CountedRows& m_rows;
        };
        const RasterImage image = testPicture(320, 8000);
        CountedRows rows(image);
        Watch sink(rows);
        encodeImage(FileFormat::heic, rows, onThreads(1), sink);
        QVERIFY(sink.rowsAtFirst > 0 && sink.rowsAtFirst <= 1280);
    }

    void failuresEndTheEncode()
    {
        const RasterImage image = testPicture(tiledWidth, tiledHeight);
        const std::size_t size = encoded(FileFormat::heic, image).size();
        for (const int threads : {1, 3}) {
            for (const std::size_t capacity : {std::size_t{0}, size / 2, size - 1}) {
                ImageRows rows(image);
                MemorySink sink(capacity);
                QVERIFY_EXCEPTION_THROWN(encodeImage(FileFormat::heic, rows, onThreads(threads), sink), StorageError);
            }
            for (const int row : {0, tiledHeight - 1}) {
                CountedRows rows(image, row);
                MemorySink sink;
                QVERIFY_EXCEPTION_THROWN(encodeImage(FileFormat::heic, rows, onThreads(threads), sink), JobCancelled);
            }
        }
    }
};

QTEST_GUILESS_MAIN(HeifTileEncodingTest)
#include "HeifTileEncodingTest.moc"
