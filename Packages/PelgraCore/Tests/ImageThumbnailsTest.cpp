#include "images/ImageThumbnails.h"
#include "PelgraCore/Thumbnails.h"
#include "Support/ImageSamples.h"

#include <QTest>

#include <limits>

using namespace Pelgra;

class ImageThumbnailsTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void longestSideIsTheLimitAndThePictureUpright()
    {
        TemporaryFolder folder;
        const auto file = write(folder, "a.jpg", jpegSample(testPicture(200, 100), {.orientation = 6}));
        const std::optional<RasterImage> small = imageThumbnail(file, 0, 96);
        QVERIFY(small.has_value());
        QCOMPARE(small->height, 96);
        QCOMPARE(small->width, 48);
        QVERIFY(largestDifference(componentsIn(*small, Quadrant::topRight),
                                  quadrantComponents(ColorModel::rgb, false, 8, Quadrant::topLeft))
                <= 4);
    }

    void neverEnlarges()
    {
        TemporaryFolder folder;
        const auto file = write(folder, "a.png", pngSample(testPicture(50, 20)));
        const std::optional<RasterImage> same = imageThumbnail(file, 5, 96);
        QVERIFY(same.has_value());
        QCOMPARE(same->width, 50);
        const auto image = std::make_shared<const RasterImage>(testPicture(50, 20));
        QCOMPARE(Thumbnails::scaled(image, 50).get(), image.get());
        QCOMPARE(Thumbnails::scaled(std::make_shared<const RasterImage>(testPicture(300, 1)), 10)->height, 1);
    }

    void nothingForNothing()
    {
        TemporaryFolder folder;
        const auto file = write(folder, "a.png", pngSample(testPicture(8, 8)));
        QVERIFY(!imageThumbnail(file, 0, 0));
        QVERIFY(!imageThumbnail(file, 0, std::numeric_limits<double>::quiet_NaN()));
        QVERIFY(!imageThumbnail(folder / "absent.png", 0, 96));
    }

    void meansCoverTheWholeArea_data()
    {
        QTest::addColumn<int>("model");
        QTest::addColumn<int>("bits");
        QTest::newRow("gray 8") << int(ColorModel::gray) << 8;
        QTest::newRow("rgb 8") << int(ColorModel::rgb) << 8;
        QTest::newRow("rgb 16") << int(ColorModel::rgb) << 16;
        QTest::newRow("cmyk 8") << int(ColorModel::cmyk) << 8;
    }

    /// Flat areas keep their colours and the whole keeps its mean, whatever the ratio.
    void meansCoverTheWholeArea()
    {
        QFETCH(int, model);
        QFETCH(int, bits);
        const RasterImage large = testPicture(203, 151, static_cast<ColorModel>(model), false, bits);
        const SharedImage small = Thumbnails::scaled(std::make_shared<const RasterImage>(large), 47.3);
        QCOMPARE(small->width, 47);
        QCOMPARE(small->height, 35);
        QCOMPARE(small->bitsPerComponent, bits);
        for (const Quadrant quadrant :
             {Quadrant::topLeft, Quadrant::topRight, Quadrant::bottomLeft, Quadrant::bottomRight})
            QCOMPARE(componentsIn(*small, quadrant), componentsIn(large, quadrant));
        double sumLarge = 0, sumSmall = 0;
        for (int y = 0; y < large.height; ++y) {
            for (int x = 0; x < large.width; ++x)
                sumLarge += componentsAt(large, x, y)[0];
        }
        for (int y = 0; y < small->height; ++y) {
            for (int x = 0; x < small->width; ++x)
                sumSmall += componentsAt(*small, x, y)[0];
        }
        const double meanLarge = sumLarge / large.width / large.height;
        QVERIFY(std::abs(sumSmall / small->width / small->height - meanLarge) < meanLarge / 200);
    }

    void invisibleColoursDoNotBleed()
    {
        RasterImage image = RasterImage::make(4, 2, ColorModel::rgb, true, 8).value();
        for (std::size_t pixel = 0; pixel < 8; ++pixel) {
            const bool isVisible = pixel % 2 == 0;
            const std::array<int, 4> components = isVisible ? std::array{200, 10, 30, 255} : std::array{0, 255, 255, 0};
            for (std::size_t index = 0; index < 4; ++index)
                image.pixels[pixel * 4 + index] = static_cast<std::byte>(components[index]);
        }
        const SharedImage small = Thumbnails::scaled(std::make_shared<const RasterImage>(image), 2);
        QCOMPARE(componentsAt(*small, 0, 0), (std::vector<int>{200, 10, 30, 128}));
    }
};

QTEST_GUILESS_MAIN(ImageThumbnailsTest)
#include "ImageThumbnailsTest.moc"
