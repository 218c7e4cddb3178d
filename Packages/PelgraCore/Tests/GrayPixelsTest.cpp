#include "pixels/GrayPixels.h"

#include <QTest>

using namespace Pelgra;

namespace {

/// Pixels whose value is their index, the same in all three components.
RasterImage colorlessPicture(int width, int height)
{
    RasterImage image = *RasterImage::make(width, height, ColorModel::rgb, false, 8);
    for (std::size_t index = 0; index < image.pixels.size(); ++index)
        image.pixels[index] = static_cast<std::byte>(index / 3);
    return image;
}

} // namespace

class GrayPixelsTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void aPictureWithoutColorBecomesGray()
    {
        for (int width = 1; width < 60; ++width) {
            RasterImage image = colorlessPicture(width, 3);
            reduceToGrayIfColorless(image);
            QCOMPARE(image.model, ColorModel::gray);
            QCOMPARE(image.stride, static_cast<std::size_t>(width));
            QCOMPARE(image.pixels.size(), static_cast<std::size_t>(width) * 3);
            for (std::size_t index = 0; index < image.pixels.size(); ++index)
                QCOMPARE(image.pixels[index], static_cast<std::byte>(index));
        }
    }

    void oneColoredSampleKeepsAllColors()
    {
        constexpr int width = 53;
        const RasterImage colorless = colorlessPicture(width, 2);
        for (std::size_t index = 0; index < colorless.pixels.size(); ++index) {
            RasterImage image = colorless;
            image.pixels[index] ^= std::byte{1};
            const RasterImage before = image;
            reduceToGrayIfColorless(image);
            QCOMPARE(image.model, ColorModel::rgb);
            QVERIFY(image.pixels == before.pixels);
        }
    }
};

QTEST_GUILESS_MAIN(GrayPixelsTest)
#include "GrayPixelsTest.moc"
