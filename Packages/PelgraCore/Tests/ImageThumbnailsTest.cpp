#include "images/ImageThumbnails.h"
#include "PelgraCore/ImageLoading.h"
#include "PelgraCore/Thumbnails.h"
#include "Support/ImageSamples.h"

#include <QTest>

#include <algorithm>
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

    void showTheImageOfTheIndex()
    {
        // A red screen of 4 × 4 pixels, then a green corner that is taken away again, then a blue corner beside it; in
        // the end a green corner whose colour is named as transparent.
        Bytes gif = bytesOf("GIF89a");
        const auto put = [&](std::initializer_list<int> values) {
            for (const int value : values)
                gif.push_back(static_cast<std::byte>(value));
        };
        put({4, 0, 4, 0, 0x81, 0, 0, 255, 0, 0, 0, 255, 0, 0, 0, 255, 0, 0, 0}); // red, green, blue, black
        const auto image = [&](int disposal, int left, int side, int color, bool isTransparent = false) {
            put({0x21, 0xF9, 4, disposal << 2 | int(isTransparent), 0, 0, color, 0, 0x2C, left, 0, 0, 0, side, 0, side,
                 0, 0});
            // Codes of three bits, each pixel behind a code that clears the table.
            std::vector<int> bits;
            const auto code = [&](int value) {
                for (int bit = 0; bit < 3; ++bit)
                    bits.push_back(value >> bit & 1);
            };
            for (int pixel = 0; pixel < side * side; ++pixel) {
                code(4);
                code(color);
            }
            code(5);
            bits.resize((bits.size() + 7) / 8 * 8);
            put({2, static_cast<int>(bits.size() / 8)});
            for (std::size_t at = 0; at < bits.size(); at += 8) {
                int byte = 0;
                for (std::size_t bit = 0; bit < 8; ++bit)
                    byte |= bits[at + bit] << bit;
                put({byte});
            }
            put({0});
        };
        image(1, 0, 4, 0);
        image(3, 0, 2, 1);
        image(2, 2, 2, 2);
        image(1, 0, 1, 1);
        image(1, 0, 2, 1, true);
        put({0x3B});
        TemporaryFolder folder;
        const auto file = write(folder, "a.gif", gif);
        const auto corners = [](const std::filesystem::path& picture, int index) {
            const std::optional<RasterImage> small = Thumbnails::image(picture, index, 96);
            QByteArray text;
            for (const int x : {0, 3}) {
                const std::vector<int> color = small ? componentsAt(*small, x, 1) : std::vector<int>{0, 0, 0};
                const auto strongest = std::max_element(color.begin(), color.begin() + 3) - color.begin();
                text += color.size() == 4 && color[3] == 0 ? '-' : "rgb"[strongest];
            }
            return text;
        };
        QCOMPARE(corners(file, 0), QByteArray("rr"));
        QCOMPARE(corners(file, 1), QByteArray("gr"));
        QCOMPARE(corners(file, 2), QByteArray("rb"));
        QCOMPARE(corners(file, 3), QByteArray("r-"));
        QCOMPARE(corners(file, 4), QByteArray("r-"));
        QCOMPARE(corners(file, 5), QByteArray("rr"));

        const RasterImage first = testPicture(4, 4); // red and green above
        RasterImage second = first;
        for (std::size_t at = 0; at < second.pixels.size(); ++at)
            second.pixels[at] = at % 3 == 2 ? std::byte{0xFF} : std::byte{0}; // rows have no padding
        const auto animation = write(folder, "a.webp", webpAnimationSample({webpSample(first), webpSample(second)}));
        QCOMPARE(corners(animation, 0), QByteArray("rg"));
        QCOMPARE(corners(animation, 1), QByteArray("bb"));
        QCOMPARE(corners(animation, 2), QByteArray("rg"));

        const auto aside = write(folder, "aside.webp", webpAnimationSample({webpSample(first), webpSample(second)}, 2));
        const RasterImage canvas = *ImageLoader::load(aside).image;
        QCOMPARE(canvas.width, 6);
        QCOMPARE(componentsAt(canvas, 1, 1).back(), 0);
        for (int component = 0; component < 3; ++component)
            QCOMPARE(componentsAt(canvas, 2, 2).at(component), componentsAt(first, 0, 0).at(component));
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

    void coloursAreThoseOfSrgb_data()
    {
        QTest::addColumn<bool>("hasAlpha");
        QTest::addColumn<int>("bits");
        QTest::newRow("8 bits") << false << 8;
        QTest::newRow("16 bits") << false << 16;
        QTest::newRow("with alpha") << true << 8;
    }

    /// Whoever shows them is not to read a profile out of a file.
    void coloursAreThoseOfSrgb()
    {
        QFETCH(bool, hasAlpha);
        QFETCH(int, bits);
        const RasterImage picture = testPicture(60, 40, ColorModel::rgb, hasAlpha, bits);
        TemporaryFolder folder;
        const auto file = write(folder, "a.png", pngSample(picture, {.iccProfile = wideRgbProfile()}));
        const auto small = imageThumbnail(file, 0, 30);
        QVERIFY(small && small->iccProfile.empty());
        std::vector<int> before = componentsIn(picture, Quadrant::topLeft);
        std::vector<int> after = componentsIn(*small, Quadrant::topLeft);
        if (hasAlpha)
            QCOMPARE(after[3], before[3]);
        before.resize(3);
        after.resize(3);
        QVERIFY(largestDifference(before, after) > (bits == 8 ? 8 : 8 * 257));
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
