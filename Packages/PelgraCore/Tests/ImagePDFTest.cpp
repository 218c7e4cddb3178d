#include "PelgraCore/Engine.h"
#include "PelgraCore/EngineError.h"
#include "PelgraCore/ImageLoading.h"
#include "PelgraCore/PDFRendering.h"
#include "Support/ImageSamples.h"
#include "Support/TemporaryFolder.h"

#include <QProcess>
#include <QStandardPaths>
#include <QTest>

#include <algorithm>
#include <cmath>
#include <type_traits>

using namespace Pelgra;

namespace {

/// Options of which one is set.
template <typename Options, typename Value>
Options with(Value Options::* member, std::type_identity_t<Value> value)
{
    Options options;
    options.*member = std::move(value);
    return options;
}

int countOf(const std::string& text, std::string_view part)
{
    int count = 0;
    for (std::size_t at = text.find(part); at != text.npos; at = text.find(part, at + part.size()))
        ++count;
    return count;
}

std::filesystem::path pdfOf(const std::filesystem::path& file)
{
    return Engine::imageToPDF(file).outputs.at(0);
}

/// The only page in 8-bit RGB, a pixel to the point.
RasterImage drawn(const std::filesystem::path& file)
{
    const auto document = PDFRender::open(file);
    if (document->pageCount() != 1)
        throw std::runtime_error("not one page");
    return document->render(0, 1).value();
}

void compareQuadrants(const RasterImage& page, const RasterImage& expected, int tolerance)
{
    QCOMPARE(page.width, expected.width);
    QCOMPARE(page.height, expected.height);
    for (Quadrant quadrant : {Quadrant::topLeft, Quadrant::topRight, Quadrant::bottomLeft, Quadrant::bottomRight}) {
        const std::vector<int> found = componentsIn(page, quadrant);
        const std::vector<int> wanted = componentsIn(expected, quadrant);
        QVERIFY2(largestDifference(found, wanted) <= tolerance,
                 qPrintable(QString("%1: %2 %3 %4").arg(int(quadrant)).arg(found[0]).arg(found[1]).arg(found[2])));
    }
}

} // namespace

class ImagePDFTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void everyOrientationIsUprightAndOfItsSize_data()
    {
        QTest::addColumn<unsigned>("orientation");
        QTest::addColumn<bool>("isJpeg");
        for (unsigned orientation = 1; orientation <= 8; ++orientation)
            for (const bool isJpeg : {true, false})
                QTest::addRow("%s %u", isJpeg ? "jpeg" : "png", orientation) << orientation << isJpeg;
    }
    void everyOrientationIsUprightAndOfItsSize()
    {
        QFETCH(unsigned, orientation);
        QFETCH(bool, isJpeg);
        const TemporaryFolder folder;
        const RasterImage stored = testPicture(96, 64);
        ExifSampleOptions exif;
        exif.orientation = orientation;
        exif.resolution = {144, 72};
        const std::filesystem::path file = isJpeg
            ? write(folder, "a.jpg", jpegSample(stored, with(&JpegSampleOptions::exif, exifSample(exif))))
            : write(folder, "a.png", pngSample(stored, with(&PngSampleOptions::exif, exifSample(exif))));
        const LoadedImage loaded = ImageLoader::load(file);
        const SharedImage upright = loaded.upright(false);
        const std::filesystem::path output = pdfOf(file);
        const PageSize size = PDFRender::open(output)->displayedSize(0);
        QCOMPARE(size.width, upright->width * 72 / loaded.dpiWidth);
        QCOMPARE(size.height, upright->height * 72 / loaded.dpiHeight);
        QCOMPARE(size.width, orientation >= 5 ? 64.0 : 48.0);
        RasterImage page = drawn(output);
        for (Quadrant quadrant : {Quadrant::topLeft, Quadrant::topRight, Quadrant::bottomLeft, Quadrant::bottomRight})
            QVERIFY(largestDifference(componentsIn(page, quadrant), componentsIn(*upright, quadrant)) <= 12);
    }

    void everyKindOfPictureKeepsItsColors_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<Bytes>("file");
        QTest::addColumn<QStringList>("entries");
        const auto row = [](const char* title, const char* name, const Bytes& file, const QStringList& entries) {
            QTest::newRow(title) << QString(name) << file << entries;
        };
        const auto picture = [](ColorModel model, bool alpha, int bits) {
            return testPicture(64, 48, model, alpha, bits);
        };
        const QString jpeg = "/Filter /DCTDecode", rows = "/Predictor 15";
        row("jpeg", "a.jpg", jpegSample(picture(ColorModel::rgb, false, 8)), {jpeg, "/DeviceRGB"});
        row("jpeg progressive", "a.jpg",
            jpegSample(picture(ColorModel::rgb, false, 8), with(&JpegSampleOptions::progressive, true)), {jpeg});
        row("jpeg grey", "a.jpg", jpegSample(picture(ColorModel::gray, false, 8)), {jpeg, "/DeviceGray"});
        row("jpeg inks", "a.jpg", jpegSample(picture(ColorModel::cmyk, false, 8)),
            {jpeg, "/DeviceCMYK", "/Decode [1 0 1 0 1 0 1 0]"});
        row("jpeg inks, plain", "a.jpg",
            jpegSample(picture(ColorModel::cmyk, false, 8), with(&JpegSampleOptions::adobeMarker, false)),
            {jpeg, "/DeviceCMYK"});
        row("jpeg under another name", "a.png", jpegSample(picture(ColorModel::rgb, false, 8)), {jpeg});
        row("png", "a.png", pngSample(picture(ColorModel::rgb, false, 8)), {rows, "/Colors 3"});
        row("png 16", "a.png", pngSample(picture(ColorModel::rgb, false, 16)), {"/BitsPerComponent 16 /Interpolate"});
        row("png interlaced", "a.png",
            pngSample(picture(ColorModel::rgb, false, 16), with(&PngSampleOptions::interlaced, true)),
            {"/BitsPerComponent 16 /Interpolate"});
        row("png grey", "a.png", pngSample(picture(ColorModel::gray, false, 8)), {rows, "/DeviceGray"});
        row("png alpha", "a.png", pngSample(picture(ColorModel::rgb, true, 8)), {rows, "/SMask"});
        row("png alpha 16", "a.png", pngSample(picture(ColorModel::rgb, true, 16)), {rows, "/SMask"});
        row("png grey alpha", "a.png", pngSample(picture(ColorModel::gray, true, 8)), {rows, "/SMask", "/DeviceGray"});
        row("webp alpha", "a.webp", webpSample(picture(ColorModel::rgb, true, 8)), {rows, "/SMask"});
    }
    void everyKindOfPictureKeepsItsColors()
    {
        QFETCH(QString, name);
        QFETCH(Bytes, file);
        QFETCH(QStringList, entries);
        const TemporaryFolder folder;
        const std::filesystem::path input = write(folder, name.toStdString(), file);
        const std::filesystem::path output = pdfOf(input);
        const std::string content = contentOf(output);
        for (const QString& entry : entries)
            QVERIFY2(content.find(entry.toStdString()) != std::string::npos, qPrintable(entry));
        QCOMPARE(countOf(content, "/SMask"), entries.contains("/SMask") ? 1 : 0);
        QCOMPARE(countOf(content, "/Decode ["), entries.join(' ').contains("/Decode [") ? 1 : 0);
        // The page is drawn on white.
        const SharedImage upright = ImageLoader::load(input).upright(true);
        RasterImage expected = *RasterImage::make(upright->width, upright->height, ColorModel::rgb, false, 8);
        for (int y = 0; y < expected.height; ++y)
            for (int x = 0; x < expected.width; ++x)
                for (int c = 0; c < 3; ++c) {
                    const std::vector<int> components = componentsAt(*upright, x, y);
                    const int value = components[components.size() == 1 ? 0 : static_cast<std::size_t>(c)];
                    expected.row(y)[static_cast<std::size_t>(x * 3 + c)] =
                        static_cast<std::byte>(upright->bitsPerComponent == 16 ? value / 257 : value);
                }
        // Pages show inks as they print, paler than subtraction makes them; inverted they would be far off.
        const bool isOfInks = entries.contains("/DeviceCMYK");
        compareQuadrants(drawn(output), expected, isOfInks ? 130 : upright->model == ColorModel::gray ? 4 : 60);
    }

    void profilesAreKeptOnceAndOnlyWhereTheyFit()
    {
        const TemporaryFolder folder;
        const std::vector<std::filesystem::path> files{
            write(folder, "a.jpg",
                  jpegSample(testPicture(32, 32), with(&JpegSampleOptions::iccProfile, wideRgbProfile()))),
            write(folder, "b.png",
                  pngSample(testPicture(32, 32), with(&PngSampleOptions::iccProfile, wideRgbProfile()))),
            write(folder, "c.jpg",
                  jpegSample(testPicture(32, 32, ColorModel::gray),
                             with(&JpegSampleOptions::iccProfile, wideRgbProfile())))};
        const std::string content = contentOf(Engine::createPDF(files).outputs.at(0));
        QCOMPARE(countOf(content, "/ColorSpace [/ICCBased"), 2);
        QCOMPARE(countOf(content, "/N 3"), 1);
        QCOMPARE(countOf(content, "/ColorSpace /DeviceGray"), 1);
    }

    void onePageForEachListingButEveryFileOnce()
    {
        const TemporaryFolder folder;
        const auto a = write(folder, "a.jpg", jpegSample(testPicture(40, 30)));
        const auto b = write(folder, "b.png", pngSample(testPicture(20, 60)));
        const std::vector<std::filesystem::path> files{b, a, b, folder / "." / "a.jpg"};
        std::vector<int> progress;
        JobControl control;
        control.progress = [&](int done, int) {
            progress.push_back(done);
        };
        const JobResult result = Engine::createPDF(files, control);
        QCOMPARE(result, JobResult(folder / "b.pdf"));
        QVERIFY(!progress.empty() && std::is_sorted(progress.begin(), progress.end()));
        const auto document = PDFRender::open(folder / "b.pdf");
        QCOMPARE(document->pageCount(), 4);
        for (int page = 0; page < 4; ++page)
            QCOMPARE(document->displayedSize(page).width, page % 2 == 0 ? 20.0 : 40.0);
        const std::string content = contentOf(folder / "b.pdf");
        QCOMPARE(countOf(content, "/Subtype /Image"), 2);
        QCOMPARE(countOf(content, "/Creator (Pelgra)"), 1);
    }

    void noPersonalDataGoAlong()
    {
        const TemporaryFolder folder;
        JpegSampleOptions options;
        options.exif = exifSample(with(&ExifSampleOptions::withThumbnail, true));
        options.iptc = iptcSample();
        options.xmp = xmpSample();
        const std::string content =
            contentOf(pdfOf(write(folder, "secret.jpg", jpegSample(testPicture(40, 30), options))));
        for (const char* text : {"Exif", "Lens 50", "harbour", "ns.adobe.com", "secret", "2024:05:06"})
            QVERIFY2(content.find(text) == std::string::npos, text);
    }

    void aTruncatedJpegThatLoadsIsAPageToo()
    {
        const TemporaryFolder folder;
        Bytes file = jpegSample(rampPicture(200, 200));
        file.resize(file.size() * 2 / 3);
        const std::filesystem::path output = pdfOf(write(folder, "a.jpg", file));
        QVERIFY(contentOf(output).find("DCTDecode") == std::string::npos);
        QCOMPARE(PDFRender::open(output)->displayedSize(0).width, 200.0);
    }

    void failuresNameTheirFileAndLeaveNothing()
    {
        const TemporaryFolder folder;
        const auto good = write(folder, "a.png", pngSample(testPicture(40, 30)));
        const auto broken = folder.write("b.png", "no picture");
        const auto text = folder.write("c.txt", "text");
        const auto causeOf = [](const std::vector<std::filesystem::path>& files) {
            try {
                Engine::createPDF(files);
            } catch (const EngineError& error) {
                return std::string(error.what());
            }
            return std::string();
        };
        QCOMPARE(causeOf({}), std::string(EngineError::noInputs().what()));
        QCOMPARE(causeOf({good, broken}), std::string("“b.png” couldn’t be read."));
        QCOMPARE(causeOf({broken, text}), std::string("Can’t convert TXT to PDF."));
        QCOMPARE(causeOf({good, folder / "d.xyz"}), std::string("Can’t convert this file to PDF."));
        QCOMPARE(folder.names(), (std::vector<std::string>{"a.png", "b.png", "c.txt"}));
    }

    void anotherProgramFindsNoFault()
    {
        const QString checker = QStandardPaths::findExecutable("qpdf");
        if (checker.isEmpty())
            QSKIP("qpdf is not installed");
        const TemporaryFolder folder;
        const PngIndexedOptions palette{2, {{255, 0, 0, 255}, {0, 255, 0, 255}, {0, 0, 255, 255}}, {}, false};
        const std::vector<std::filesystem::path> files{
            write(folder, "a.jpg",
                  jpegSample(rampPicture(90, 70), with(&JpegSampleOptions::iccProfile, wideRgbProfile()))),
            write(folder, "b.png", pngSample(rampPicture(600, 500, ColorModel::rgb, true, 16))),
            write(folder, "c.png", indexedPngSample(5, 3, std::vector<std::uint8_t>(15, 2), palette)),
            write(folder, "d.jpg", jpegSample(rampPicture(90, 70, ColorModel::cmyk)))};
        QProcess process;
        process.start(checker, {"--check", QString::fromStdString(Engine::createPDF(files).outputs.at(0))});
        QVERIFY(process.waitForFinished());
        QCOMPARE(process.exitCode(), 0);
    }
};

QTEST_GUILESS_MAIN(ImagePDFTest)
#include "ImagePDFTest.moc"
