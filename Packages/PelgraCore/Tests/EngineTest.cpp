#include "PelgraCore/Engine.h"
#include "PelgraCore/EngineError.h"
#include "PelgraCore/ImageLoading.h"
#include "Support/ImageSamples.h"
#include "Support/PDFSamples.h"
#include "Support/TemporaryFolder.h"

#include <QTest>

#include <algorithm>
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

/// The sentence a call fails with; empty when it does not.
template <typename Call>
std::string failureOf(Call&& call)
{
    try {
        call();
    } catch (const EngineError& error) {
        return error.what();
    }
    return {};
}

/// For every source the targets that are converted; all others are refused as a pair.
const std::vector<std::pair<const char*, const char*>> routes{
    {"jpg", "jpg png heic tiff bmp pdf"},
    {"png", "jpg png heic tiff bmp pdf"},
    {"webp", "jpg png heic tiff bmp pdf"},
    {"gif", "jpg png heic tiff bmp pdf"},
    {"svg", "jpg png heic tiff bmp pdf"},
    {"txt", ""},
    {"md", ""},
    {"pdf", "jpg png heic tiff bmp txt md"},
};

} // namespace

class EngineTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void convertsByTheTableAndRefusesTheRest_data()
    {
        QTest::addColumn<QString>("source");
        QTest::addColumn<QString>("targets");
        for (const auto& [source, targets] : routes)
            QTest::newRow(source) << source << targets;
    }
    /// The files hold nothing, so that a pair that is accepted fails on reading.
    void convertsByTheTableAndRefusesTheRest()
    {
        QFETCH(QString, source);
        QFETCH(QString, targets);
        const TemporaryFolder folder;
        const auto file = folder.write("a." + source.toStdString(), "?");
        for (FileFormat target : FileFormat::allCases()) {
            const bool accepted = targets.split(' ').contains(QString::fromUtf8(target.rawValue().data()));
            const std::string refused =
                "Can’t convert " + source.toUpper().toStdString() + " to " + target.wheelLabel() + ".";
            QCOMPARE(failureOf([&] { Engine::convert(file, target, {}); }),
                     accepted ? std::string("“a.") + source.toStdString() + "” couldn’t be read." : refused);
        }
        QCOMPARE(folder.names().size(), std::size_t{1});
    }

    void looksForTheFileBeforeItsFormat()
    {
        const TemporaryFolder folder;
        QCOMPARE(failureOf([&] { Engine::convert(folder / "a.xyz", FileFormat::png, {}); }),
                 std::string("“a.xyz” couldn’t be read."));
        folder.write("a.xyz", "?");
        QCOMPARE(failureOf([&] { Engine::convert(folder / "a.xyz", FileFormat::png, {}); }),
                 std::string("Can’t convert this file to PNG."));
        QCOMPARE(failureOf([&] {
                     const auto file = write(folder, "b.png", pngSample(testPicture(4, 4)));
                     Engine::imageToImage(file, FileFormat::gif, {});
                 }),
                 std::string("GIF isn’t supported here."));
    }

    void writesUprightPicturesWithTheirResolution()
    {
        const TemporaryFolder folder;
        ExifSampleOptions exif;
        exif.orientation = 8;
        exif.resolution = {300, 240};
        const auto file =
            write(folder, "a.jpg", jpegSample(testPicture(64, 48), with(&JpegSampleOptions::exif, exifSample(exif))));
        const SharedImage upright = ImageLoader::load(file).upright(false);
        for (FileFormat target : {FileFormat::png, FileFormat::tiff, FileFormat::bmp, FileFormat::jpg}) {
            const JobResult result = Engine::imageToImage(file, target, {});
            const LoadedImage copy = ImageLoader::load(result.outputs.at(0));
            QCOMPARE(copy.orientation, 1U);
            QCOMPARE(copy.image->width, 48);
            QCOMPARE(copy.image->height, 64);
            QVERIFY(std::abs(copy.dpiWidth - 240) < 0.1 && std::abs(copy.dpiHeight - 300) < 0.1);
            QVERIFY(largestDifference(componentsIn(*copy.image, Quadrant::topLeft),
                                      componentsIn(*upright, Quadrant::topLeft))
                    <= 6);
        }
        QCOMPARE(folder.names(), (std::vector<std::string>{"a 2.jpg", "a.bmp", "a.jpg", "a.png", "a.tiff"}));
    }

    void transparencyBecomesWhiteInJpegAlone()
    {
        const TemporaryFolder folder;
        const auto file = write(folder, "a.png", pngSample(testPicture(32, 32, ColorModel::rgb, true)));
        Engine::convert(file, FileFormat::jpg, {});
        const LoadedImage jpeg = ImageLoader::load(folder / "a.jpg");
        QVERIFY(!jpeg.image->hasAlpha);
        // Yellow, a fifth of it, over white.
        QVERIFY(largestDifference(componentsIn(*jpeg.image, Quadrant::bottomRight), {255, 255, 204}) <= 8);
        for (const FileFormat target : {FileFormat::png, FileFormat::heic, FileFormat::tiff, FileFormat::bmp}) {
            const JobResult result = Engine::convert(file, target, {});
            QVERIFY(ImageLoader::load(result.outputs.front()).image->hasAlpha);
        }
    }

    void qualitiesAreClampedAndEachFormatHasItsOwn()
    {
        const TemporaryFolder folder;
        const auto file = write(folder, "a.png", pngSample(rampPicture(200, 200)));
        const auto document =
            folder.write("b.pdf", documentWith({{"0 0 1 rg 9 9 70 70 re f", "[0 0 100 100]", "", ""}}));
        for (const bool isHeic : {false, true}) {
            const auto sizeAt = [&](const std::filesystem::path& input, double own, double other) {
                const ConversionOptions options{isHeic ? other : own, isHeic ? own : other, 300};
                const JobResult result = Engine::convert(input, isHeic ? FileFormat::heic : FileFormat::jpg, options);
                return std::filesystem::file_size(result.outputs.at(0));
            };
            QCOMPARE(sizeAt(file, 1.5, 0), sizeAt(file, 1, 1));
            QCOMPARE(sizeAt(file, -0.2, 0), sizeAt(file, 0, 1));
            QVERIFY(sizeAt(file, 1, 0) > sizeAt(file, 0.5, 1));
            QVERIFY(sizeAt(document, 1, 0) > sizeAt(document, 0.1, 1));
        }
    }

    void textOpensItsInputBeforeItsOutput()
    {
        // Neither the document nor a place for its text is there.
        const TemporaryFolder folder;
        QCOMPARE(failureOf([&] { Engine::pdfToText(folder / "gone" / "a.pdf", false); }),
                 std::string("“a.pdf” couldn’t be read."));
    }

    void aBatchKeepsItsOrderWhateverIsDoneFirst()
    {
        const TemporaryFolder folder;
        std::vector<std::filesystem::path> files;
        // The slow ones come before quick ones of the same name.
        for (int i = 0; i < 6; ++i) {
            const std::string base = std::to_string(i / 2);
            const int side = i % 2 == 0 ? 700 : 9;
            files.push_back(i % 2 == 0 ? write(folder, base + ".jpg", jpegSample(rampPicture(side, side)))
                                       : write(folder, base + ".png", pngSample(rampPicture(side, side))));
        }
        std::vector<JobResult> published;
        std::vector<int> progress;
        JobControl control;
        control.published = [&](const JobResult& result) {
            published.push_back(result);
        };
        control.progress = [&](int done, int total) {
            progress.push_back(done * 100 + total);
        };
        const std::vector<JobResult> results = Engine::convertAll(files, FileFormat::bmp, {}, control);
        QCOMPARE(results.size(), std::size_t{6});
        QVERIFY(results == published);
        QCOMPARE(progress, (std::vector<int>{106, 206, 306, 406, 506, 606}));
        for (int i = 0; i < 6; ++i) {
            const std::string name = std::to_string(i / 2) + (i % 2 == 0 ? ".bmp" : " 2.bmp");
            QCOMPARE(results[static_cast<std::size_t>(i)], JobResult(folder / name));
            QCOMPARE(ImageLoader::load(folder / name).image->width, i % 2 == 0 ? 700 : 9);
        }
    }

    void aBatchEndsAtItsFirstFailure_data()
    {
        QTest::addColumn<QString>("broken");
        QTest::addColumn<QString>("sentence");
        QTest::newRow("unreadable") << "2.png"
                                    << "“2.png” couldn’t be read.";
        QTest::newRow("missing") << "gone.png"
                                 << "“gone.png” couldn’t be read.";
        QTest::newRow("unknown") << "2.xyz"
                                 << "Can’t convert this file to JPG.";
        QTest::newRow("text") << "2.txt"
                              << "Can’t convert TXT to JPG.";
        QTest::newRow("document") << "2.pdf"
                                  << "“2.pdf” couldn’t be read.";
    }
    void aBatchEndsAtItsFirstFailure()
    {
        QFETCH(QString, broken);
        QFETCH(QString, sentence);
        const TemporaryFolder folder;
        std::vector<std::filesystem::path> files{write(folder, "1.png", pngSample(rampPicture(900, 900))),
                                                 folder / broken.toStdString()};
        if (broken != "gone.png")
            folder.write(broken.toStdString(), "?");
        for (const char* name : {"3.png", "4.png", "5.png", "6.png"})
            files.push_back(write(folder, name, pngSample(rampPicture(9, 9))));
        const std::size_t count = folder.names().size();
        QCOMPARE(failureOf([&] { Engine::convertAll(files, FileFormat::jpg, {}); }), sentence.toStdString());
        QCOMPARE(folder.names().size(), count + 1);
        QCOMPARE(ImageLoader::load(folder / "1.jpg").image->width, 900);
    }

    void aBatchOfNothingIsRefused()
    {
        QCOMPARE(failureOf([] { Engine::convertAll({}, FileFormat::jpg, {}); }), std::string("No files were given."));
    }

    void aStopLeavesWhatIsPublishedAndNothingElse_data()
    {
        QTest::addColumn<int>("after");
        QTest::newRow("before the first") << 0;
        QTest::newRow("after some") << 3;
    }
    void aStopLeavesWhatIsPublishedAndNothingElse()
    {
        QFETCH(int, after);
        const TemporaryFolder folder;
        std::vector<std::filesystem::path> files;
        for (int i = 0; i < 20; ++i)
            files.push_back(write(folder, std::to_string(i) + ".png", pngSample(rampPicture(60, 60))));
        std::stop_source source;
        int published = 0;
        JobControl control;
        control.stop = source.get_token();
        control.published = [&](const JobResult&) {
            if (++published == after)
                source.request_stop();
        };
        if (after == 0)
            source.request_stop();
        QVERIFY_EXCEPTION_THROWN(Engine::convertAll(files, FileFormat::bmp, {}, control), JobCancelled);
        QCOMPARE(published, after);
        QCOMPARE(folder.names().size(), files.size() + static_cast<std::size_t>(after));
    }

    void anOutputThatCannotBeNamedIsTold()
    {
        const TemporaryFolder folder;
        const auto file = write(folder, "a.png", pngSample(testPicture(8, 8)));
        // The longest name a folder takes has 255 bytes: enough for the input's, one short for the output's.
        const std::string name(251, 'x');
        std::filesystem::create_symlink(file, folder / (name + ".png"));
        QCOMPARE(failureOf([&] { Engine::convert(folder / (name + ".png"), FileFormat::heic, {}); }),
                 "Couldn’t save “" + name + ".heic”.");
    }
};

QTEST_GUILESS_MAIN(EngineTest)
#include "EngineTest.moc"
