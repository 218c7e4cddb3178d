#include "images/UprightRows.h"
#include "PelgraCore/EngineError.h"
#include "PelgraCore/ImageLoading.h"
#include "Support/ImageSamples.h"

#include <QTest>

using namespace Pelgra;

namespace {

LoadedImage loaded(RasterImage image, unsigned orientation)
{
    LoadedImage result;
    result.image = std::make_shared<const RasterImage>(std::move(image));
    result.orientation = orientation;
    return result;
}

} // namespace

class LoadedImageTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void turnsAsTheTransformSays_data()
    {
        QTest::addColumn<int>("model");
        QTest::addColumn<bool>("hasAlpha");
        QTest::addColumn<int>("bits");
        QTest::newRow("1 byte") << int(ColorModel::gray) << false << 8;
        QTest::newRow("2 bytes") << int(ColorModel::gray) << true << 8;
        QTest::newRow("3 bytes") << int(ColorModel::rgb) << false << 8;
        QTest::newRow("4 bytes") << int(ColorModel::rgb) << true << 8;
        QTest::newRow("6 bytes") << int(ColorModel::rgb) << false << 16;
        QTest::newRow("8 bytes") << int(ColorModel::rgb) << true << 16;
    }

    /// Every pixel's middle is sent through the y-up transform and looked up in the turned picture.
    void turnsAsTheTransformSays()
    {
        QFETCH(int, model);
        QFETCH(bool, hasAlpha);
        QFETCH(int, bits);
        const RasterImage picture = rampPicture(131, 70, static_cast<ColorModel>(model), hasAlpha, bits);
        for (unsigned orientation = 1; orientation <= 8; ++orientation) {
            const LoadedImage image = loaded(picture, orientation);
            const SharedImage upright = image.upright(false);
            QCOMPARE(upright->width, image.uprightWidth());
            QCOMPARE(upright->height, image.uprightHeight());
            const AffineTransform map = image.orientationTransform();
            int wrong = 0;
            for (int y = 0; y < picture.height; ++y) {
                for (int x = 0; x < picture.width; ++x) {
                    const double storedX = x + 0.5, storedY = picture.height - y - 0.5;
                    const double uprightX = map.a * storedX + map.c * storedY + map.tx;
                    const double uprightY = map.b * storedX + map.d * storedY + map.ty;
                    wrong += componentsAt(*upright, static_cast<int>(uprightX),
                                          upright->height - 1 - static_cast<int>(uprightY))
                        != componentsAt(picture, x, y);
                }
            }
            QCOMPARE(wrong, 0);
        }
    }

    void sixTurnsClockwise()
    {
        const SharedImage upright = loaded(testPicture(8, 6), 6).upright(false);
        QCOMPARE(componentsIn(*upright, Quadrant::topRight),
                 quadrantComponents(ColorModel::rgb, false, 8, Quadrant::topLeft));
        QCOMPARE(componentsIn(*upright, Quadrant::topLeft),
                 quadrantComponents(ColorModel::rgb, false, 8, Quadrant::bottomLeft));
    }

    void laysTransparencyOverWhiteInItsDepth()
    {
        for (const int bits : {8, 16}) {
            const LoadedImage image = loaded(testPicture(8, 8, ColorModel::rgb, true, bits), 1);
            const SharedImage flat = image.upright(true);
            QVERIFY(!flat->hasAlpha);
            QCOMPARE(flat->bitsPerComponent, bits);
            const std::vector<int> stored = componentsIn(*image.image, Quadrant::bottomRight);
            const double white = (1 << bits) - 1, alpha = stored[3] / white;
            std::vector<int> expected;
            for (int index = 0; index < 3; ++index)
                expected.push_back(qRound(stored[static_cast<std::size_t>(index)] * alpha + white * (1 - alpha)));
            QVERIFY(largestDifference(componentsIn(*flat, Quadrant::bottomRight), expected) <= 1);
            QCOMPARE(image.upright(false).get(), image.image.get());
        }
    }

    void tellsOfAFailedRedrawInOneWay()
    {
        RasterImage huge; // more pixels than any memory holds
        huge.width = huge.height = 1'000'000;
        try {
            loaded(huge, 6).upright(false);
            QFAIL("turned");
        } catch (const EngineError& error) {
            QCOMPARE(error, EngineError::unsupported(FileFormat::png));
        }
    }

    void inkBecomesLightWithoutAProfile()
    {
        for (const int bits : {8, 16}) {
            RasterImage picture = testPicture(8, 8, ColorModel::cmyk, false, bits);
            picture.iccProfile = wideRgbProfile(); // not a profile of inks, so of no use
            const SharedImage light = loaded(picture, 3).upright(false);
            QCOMPARE(light->model, ColorModel::rgb);
            QVERIFY(light->iccProfile.empty());
            QVERIFY(largestDifference(componentsIn(*light, Quadrant::bottomRight),
                                      quadrantComponents(ColorModel::rgb, false, bits, Quadrant::topLeft))
                    <= (bits == 8 ? 0 : 10));
        }
    }

    void rowsAreThoseOfTheUprightPicture()
    {
        for (const ColorModel model : {ColorModel::gray, ColorModel::rgb, ColorModel::cmyk})
            for (const int bits : {8, 16})
                for (const unsigned orientation : {1U, 6U}) {
                    const LoadedImage image = loaded(testPicture(12, 8, model, false, bits), orientation);
                    const SharedImage upright = image.upright(true);
                    const std::unique_ptr<RowSource> rows = uprightRows(image, true);
                    QCOMPARE(rows->form().width, upright->width);
                    QCOMPARE(rows->form().height, upright->height);
                    QCOMPARE(rows->form().model, upright->model);
                    QCOMPARE(rows->form().bitsPerComponent, bits);
                    for (int y = 0; y < upright->height; ++y)
                        QVERIFY(std::ranges::equal(rows->row(y), upright->row(y)));
                }
    }
};

QTEST_GUILESS_MAIN(LoadedImageTest)
#include "LoadedImageTest.moc"
