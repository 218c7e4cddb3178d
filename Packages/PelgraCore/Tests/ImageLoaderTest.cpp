#include "codecs/png/PngColors.h"
#include "PelgraCore/EngineError.h"
#include "PelgraCore/ImageLoading.h"
#include "Support/ImageSamples.h"

#include <QTest>

#include <lcms2.h>
#include <sys/stat.h>

using namespace Pelgra;

namespace {

constexpr std::array allQuadrants{Quadrant::topLeft, Quadrant::topRight, Quadrant::bottomLeft, Quadrant::bottomRight};

bool isUnreadable(const std::filesystem::path& file)
{
    try {
        ImageLoader::load(file);
        return false;
    } catch (const EngineError& error) {
        return error == EngineError::unreadable(file);
    }
}

bool showsTestPicture(const RasterImage& image, int tolerance)
{
    return std::all_of(allQuadrants.begin(), allQuadrants.end(), [&](Quadrant quadrant) {
        return largestDifference(componentsIn(image, quadrant),
                                 quadrantComponents(image.model, image.hasAlpha, image.bitsPerComponent, quadrant))
            <= tolerance;
    });
}

/// What a pixel of a grey or RGB profile looks like.
std::array<int, 3> shownInSrgb(const Bytes& iccProfile, const std::vector<std::uint8_t>& pixel)
{
    const cmsHPROFILE source =
        cmsOpenProfileFromMem(iccProfile.data(), static_cast<cmsUInt32Number>(iccProfile.size()));
    const cmsHPROFILE target = cmsCreate_sRGBProfile();
    const cmsHTRANSFORM transform = cmsCreateTransform(source, pixel.size() == 1 ? TYPE_GRAY_8 : TYPE_RGB_8, target,
                                                       TYPE_RGB_8, INTENT_RELATIVE_COLORIMETRIC, 0);
    std::array<std::uint8_t, 3> shown{};
    if (transform) {
        cmsDoTransform(transform, pixel.data(), shown.data(), 1);
        cmsDeleteTransform(transform);
    }
    if (source)
        cmsCloseProfile(source);
    cmsCloseProfile(target);
    return {shown[0], shown[1], shown[2]};
}

LoadedImage loadSample(std::string_view name, const Bytes& bytes)
{
    TemporaryFolder folder;
    return ImageLoader::load(write(folder, name, bytes));
}

} // namespace

class ImageLoaderTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void orientationAndResolutionDescribeTheUprightPicture()
    {
        const Bytes exif = exifSample({.orientation = 6, .resolution = std::pair{300U, 240U}});
        const LoadedImage loaded = loadSample("a.jpg", jpegSample(testPicture(40, 30), {.exif = exif}));
        QCOMPARE(loaded.orientation, 6U);
        QCOMPARE(loaded.image->width, 40);
        QCOMPARE(loaded.uprightWidth(), 30);
        QCOMPARE(loaded.dpiWidth, 240.0);
        QCOMPARE(loaded.dpiHeight, 300.0);
        const SharedImage upright = loaded.upright(false);
        QCOMPARE(upright->width, 30);
        QCOMPARE(upright->height, 40);
    }

    void impossibleOrientationCountsAsUpright()
    {
        const LoadedImage loaded = loadSample("a.jpg", jpegSample(testPicture(16, 16), {.orientation = 9}));
        QCOMPARE(loaded.orientation, 1U);
        QCOMPARE(loaded.upright(true).get(), loaded.image.get());
    }

    void readsTheResolutionOfJpeg_data()
    {
        QTest::addColumn<QList<int>>("density");
        QTest::addColumn<QList<int>>("exif");
        QTest::addColumn<double>("dpiWidth");
        QTest::addColumn<double>("dpiHeight");
        QTest::newRow("nothing") << QList<int>{} << QList<int>{} << 72.0 << 72.0;
        QTest::newRow("inch") << QList<int>{1, 300, 240} << QList<int>{} << 300.0 << 240.0;
        QTest::newRow("centimetre") << QList<int>{2, 118, 118} << QList<int>{} << 299.72 << 299.72;
        QTest::newRow("a shape only") << QList<int>{0, 300, 300} << QList<int>{} << 72.0 << 72.0;
        QTest::newRow("only across") << QList<int>{1, 144, 0} << QList<int>{} << 144.0 << 144.0;
        QTest::newRow("EXIF before JFIF") << QList<int>{1, 72, 72} << QList<int>{300, 240, 2} << 300.0 << 240.0;
        QTest::newRow("EXIF in centimetres") << QList<int>{} << QList<int>{100, 100, 3} << 254.0 << 254.0;
        QTest::newRow("EXIF without a unit") << QList<int>{1, 96, 96} << QList<int>{300, 300, 1} << 96.0 << 96.0;
    }

    void readsTheResolutionOfJpeg()
    {
        QFETCH(QList<int>, density);
        QFETCH(QList<int>, exif);
        QFETCH(double, dpiWidth);
        QFETCH(double, dpiHeight);
        const auto value = [](const QList<int>& list, int index) {
            return static_cast<unsigned>(list[index]);
        };
        JpegSampleOptions options;
        if (!density.empty())
            options.density = {value(density, 0), value(density, 1), value(density, 2)};
        if (!exif.empty())
            options.exif = exifSample({.resolution = std::pair{value(exif, 0), value(exif, 1)},
                                       .resolutionUnit = value(exif, 2),
                                       .bigEndian = true});
        const LoadedImage loaded = loadSample("a.jpg", jpegSample(testPicture(8, 8), options));
        QCOMPARE(loaded.dpiWidth, dpiWidth);
        QCOMPARE(loaded.dpiHeight, dpiHeight);
    }

    void readsTheResolutionOfPng()
    {
        const auto load = [](std::array<std::uint32_t, 3> density) {
            return loadSample("a.png", pngSample(testPicture(8, 8), {.density = density}));
        };
        // Whole numbers are meant, whether the writer rounded to whole dots per metre or cut off what was over.
        QCOMPARE(load({11811, 9449, 1}).dpiWidth, 300.0);
        QCOMPARE(load({11811, 9449, 1}).dpiHeight, 240.0);
        QCOMPARE(load({5669, 2834, 1}).dpiWidth, 144.0);
        QCOMPARE(load({5669, 2834, 1}).dpiHeight, 72.0);
        QCOMPARE(load({5667, 2837, 1}).dpiWidth, 5667 * 0.0254);
        QCOMPARE(load({11811, 0, 1}).dpiHeight, 300.0);
        QCOMPARE(load({4, 3, 0}).dpiWidth, 72.0);
        Bytes damaged = pngSample(testPicture(8, 8), {.density = {{11811, 11811, 1}}});
        const Bytes name = bytesOf("pHYs");
        *(std::search(damaged.begin(), damaged.end(), name.begin(), name.end()) + 6) ^= std::byte{1};
        QCOMPARE(loadSample("a.png", damaged).dpiWidth, 72.0);
    }

    void keepsModelDepthAndAlphaOfPng_data()
    {
        QTest::addColumn<bool>("isGray");
        QTest::addColumn<bool>("hasAlpha");
        QTest::addColumn<int>("bits");
        QTest::addColumn<bool>("isInterlaced");
        for (const bool isGray : {true, false}) {
            for (const bool hasAlpha : {true, false}) {
                for (const int bits : {8, 16}) {
                    for (const bool isInterlaced : {true, false})
                        QTest::addRow("%s%s%d%s", isGray ? "gray" : "rgb", hasAlpha ? "a" : "", bits,
                                      isInterlaced ? " interlaced" : "")
                            << isGray << hasAlpha << bits << isInterlaced;
                }
            }
        }
    }

    void keepsModelDepthAndAlphaOfPng()
    {
        QFETCH(bool, isGray);
        QFETCH(bool, hasAlpha);
        QFETCH(int, bits);
        QFETCH(bool, isInterlaced);
        const RasterImage picture = rampPicture(37, 23, isGray ? ColorModel::gray : ColorModel::rgb, hasAlpha, bits);
        const LoadedImage loaded = loadSample("a.png", pngSample(picture, {.interlaced = isInterlaced}));
        QCOMPARE(largestDifference(*loaded.image, picture), 0);
    }

    void widensPalettesAndLowDepths()
    {
        const LoadedImage palette =
            loadSample("a.png",
                       indexedPngSample(3, 1, {0, 1, 2},
                                        {.bits = 2,
                                         .palette = {{10, 20, 30, 255}, {40, 50, 60, 128}, {70, 80, 90, 0}},
                                         .transparentGray = {}}));
        QCOMPARE(componentsAt(*palette.image, 1, 0), (std::vector<int>{40, 50, 60, 128}));
        const LoadedImage gray =
            loadSample("a.png", indexedPngSample(4, 1, {0, 5, 10, 15}, {.bits = 4, .transparentGray = 5}));
        QCOMPARE(componentsAt(*gray.image, 1, 0), (std::vector<int>{85, 0}));
        QCOMPARE(componentsAt(*gray.image, 2, 0), (std::vector<int>{170, 255}));
    }

    void readsGrayAndCmykJpeg()
    {
        const LoadedImage gray = loadSample("a.jpg", jpegSample(testPicture(32, 32, ColorModel::gray)));
        QCOMPARE(gray.image->model, ColorModel::gray);
        QVERIFY(showsTestPicture(*gray.image, 3));
        for (const bool adobeMarker : {true, false}) {
            const LoadedImage cmyk =
                loadSample("a.jpg", jpegSample(testPicture(32, 32, ColorModel::cmyk), {.adobeMarker = adobeMarker}));
            QCOMPARE(cmyk.image->model, ColorModel::cmyk);
            QVERIFY(showsTestPicture(*cmyk.image, 3));
            QVERIFY(showsTestPicture(*cmyk.upright(true), 4));
        }
    }

    void carriesProfilesThatFitThePixels()
    {
        const Bytes profile = wideRgbProfile();
        const RasterImage rgb = testPicture(16, 16);
        const RasterImage gray = testPicture(16, 16, ColorModel::gray);
        QCOMPARE(loadSample("a.jpg", jpegSample(rgb, {.iccProfile = profile})).image->iccProfile, profile);
        QCOMPARE(loadSample("a.png", pngSample(rgb, {.iccProfile = profile})).image->iccProfile, profile);
        QCOMPARE(loadSample("a.webp", webpSample(rgb, {}, profile)).image->iccProfile, profile);
        QVERIFY(loadSample("a.jpg", jpegSample(gray, {.iccProfile = profile})).image->iccProfile.empty());
    }

    void makesProfilesOfWhatPngsSay()
    {
        const std::array<double, 8> adobeLike{0.3127, 0.3290, 0.64, 0.33, 0.21, 0.71, 0.15, 0.06};
        const std::array<double, 8> noColors{0.3127, 0.3290, 0.3, 0.3, 0.3, 0.3, 0.3, 0.3};
        const auto profileOf = [](const PngSampleOptions& options, ColorModel model = ColorModel::rgb) {
            return loadSample("a.png", pngSample(testPicture(16, 16, model), options)).image->iccProfile;
        };
        const auto isNear = [](const std::array<int, 3>& color, const std::array<int, 3>& wanted) {
            return std::equal(color.begin(), color.end(), wanted.begin(),
                              [](int a, int b) { return std::abs(a - b) <= 2; });
        };
        // Half the light is 188 of 255 in sRGB.
        QVERIFY(isNear(shownInSrgb(profileOf({.gamma = 1.0}), {128, 128, 128}), {188, 188, 188}));
        QVERIFY(isNear(shownInSrgb(profileOf({.gamma = 1.0}, ColorModel::gray), {128}), {188, 188, 188}));
        // A pale green in a wider space is a stronger one here; a grey is the same grey.
        const Bytes wide = profileOf({.gamma = 1 / 2.2, .chromaticities = adobeLike});
        QVERIFY(shownInSrgb(wide, {100, 200, 100})[0] < 60);
        QVERIFY(isNear(shownInSrgb(wide, {128, 128, 128}), {128, 128, 128}));
        QVERIFY(profileOf({.gamma = 0.45455}).empty());
        PngProperties properties;
        properties.chromaticities = noColors;
        QVERIFY(profileFromChunks(properties, ColorModel::rgb).empty());
        QVERIFY(profileOf({.gamma = 20.0}).empty());
        QCOMPARE(profileOf({.iccProfile = wideRgbProfile(), .gamma = 1.0}), wideRgbProfile());
    }

    void readsWebpWithOrientation()
    {
        const LoadedImage loaded = loadSample(
            "a.webp", webpSample(testPicture(20, 10, ColorModel::rgb, true), exifSample({.orientation = 8})));
        QCOMPARE(loaded.orientation, 8U);
        QVERIFY(loaded.image->hasAlpha);
        QVERIFY(showsTestPicture(*loaded.image, 0));
    }

    void contentDecidesOverTheName()
    {
        const LoadedImage loaded = loadSample("a.jpg", pngSample(testPicture(8, 8)));
        QVERIFY(showsTestPicture(*loaded.image, 0));
        QVERIFY(showsTestPicture(*loadSample("noExtension", pngSample(testPicture(8, 8))).image, 0));
    }

    void cutOffPicturesShowWhatCame()
    {
        Bytes jpeg = jpegSample(rampPicture(200, 200));
        Bytes png = pngSample(rampPicture(200, 200));
        for (Bytes* const bytes : {&jpeg, &png}) {
            const RasterImage whole = *loadSample("a", *bytes).image;
            bytes->resize(bytes->size() * 3 / 4);
            const RasterImage part = *loadSample("a", *bytes).image;
            QCOMPARE(part.height, 200);
            QCOMPARE(componentsAt(part, 100, 50), componentsAt(whole, 100, 50));
            QVERIFY(componentsAt(part, 100, 199) != componentsAt(whole, 100, 199));
        }
    }

    void refusesWhatIsNoPicture()
    {
        TemporaryFolder folder;
        QVERIFY(isUnreadable(folder / "absent.png"));
        QVERIFY(isUnreadable(folder.path()));
        QVERIFY(isUnreadable(folder.write("empty.png", "")));
        QVERIFY(isUnreadable(folder.write("text.gif", "no picture at all, only words")));
        QCOMPARE(mkfifo((folder / "pipe.png").c_str(), 0600), 0);
        QVERIFY(isUnreadable(folder / "pipe.png"));
        const Bytes jpeg = jpegSample(rampPicture(64, 64));
        QVERIFY(isUnreadable(write(folder, "header.jpg", Bytes(jpeg.begin(), jpeg.begin() + 300))));
        const Bytes png = pngSample(rampPicture(64, 64));
        QVERIFY(isUnreadable(write(folder, "header.png", Bytes(png.begin(), png.begin() + 60))));
    }

    void refusesHeadersThatAskForTooMuch()
    {
        TemporaryFolder folder;
        Bytes jpeg = jpegSample(testPicture(16, 16));
        constexpr std::array startOfFrame{std::byte{0xFF}, std::byte{0xC0}};
        const auto frame = std::search(jpeg.begin(), jpeg.end(), startOfFrame.begin(), startOfFrame.end());
        QVERIFY(frame != jpeg.end());
        std::fill_n(frame + 5, 4, std::byte{0xFE});
        QVERIFY(isUnreadable(write(folder, "bomb.jpg", jpeg)));
        Bytes gif = bytesOf("GIF89a");
        gif.insert(gif.end(), 4, std::byte{0xFF});
        gif.insert(gif.end(), 3, std::byte{0});
        QVERIFY(isUnreadable(write(folder, "bomb.gif", gif)));
    }
};

QTEST_GUILESS_MAIN(ImageLoaderTest)
#include "ImageLoaderTest.moc"
