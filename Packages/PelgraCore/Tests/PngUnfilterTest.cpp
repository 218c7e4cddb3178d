#include "codecs/png/PngUnfilter.h"

#include <QTest>

#include <algorithm>
#include <cstdlib>
#include <random>
#include <vector>

using namespace Pelgra;

namespace {

/// The formulas of the specification, byte by byte.
int prediction(int type, int left, int above, int corner)
{
    switch (type) {
    case 1:
        return left;
    case 2:
        return above;
    case 3:
        return (left + above) / 2;
    case 4: {
        const int estimate = left + above - corner;
        const int toLeft = std::abs(estimate - left), toAbove = std::abs(estimate - above);
        const int toCorner = std::abs(estimate - corner);
        if (toLeft <= toAbove && toLeft <= toCorner)
            return left;
        return toAbove <= toCorner ? above : corner;
    }
    default:
        return 0;
    }
}

} // namespace

class PngUnfilterTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void undoesEveryFilterForEverySizeOfPixel()
    {
        std::mt19937 random(7);
        for (const std::size_t pixelBytes : {1, 2, 3, 4, 6, 8}) {
            const std::size_t size = pixelBytes * 301;
            std::vector<std::uint8_t> filtered(size + unfilterSlack), above(size + unfilterSlack);
            std::generate(filtered.begin(), filtered.end(), [&] { return static_cast<std::uint8_t>(random()); });
            std::generate(above.begin(), above.end(), [&] { return static_cast<std::uint8_t>(random()); });
            for (int type = 0; type <= 4; ++type) {
                std::vector<std::uint8_t> row(size), expected(size);
                for (std::size_t place = 0; place < size; ++place) {
                    const bool isFirst = place < pixelBytes;
                    const int left = isFirst ? 0 : expected[place - pixelBytes];
                    const int corner = isFirst ? 0 : above[place - pixelBytes];
                    expected[place] =
                        static_cast<std::uint8_t>(filtered[place] + prediction(type, left, above[place], corner));
                }
                QVERIFY(unfilterRow(static_cast<std::uint8_t>(type), filtered.data(), above.data(), row, pixelBytes));
                QCOMPARE(row, expected);
            }
            std::vector<std::uint8_t> row(size);
            QVERIFY(!unfilterRow(5, filtered.data(), above.data(), row, pixelBytes));
        }
    }
};

QTEST_GUILESS_MAIN(PngUnfilterTest)
#include "PngUnfilterTest.moc"
