#include "modules/ModuleLoader.h"
#include "modules/recognition/RecognitionModule.h"
#include "PelgraCore/EngineError.h"
#include "PelgraCore/PDFRendering.h"
#include "PelgraCore/TextExtraction.h"

#include "Support/PDFSamples.h"
#include "Support/TemporaryFolder.h"

#include <QTest>

#include <algorithm>
#include <cstdlib>
#include <thread>

#include <dlfcn.h>

using namespace Pelgra;

namespace {

constexpr double dotsPerPoint = 300.0 / 72;

const char* const pageBox = "[0 0 300 200]"; // points
const std::vector<std::string> leftColumn = {"The quick brown fox",  "jumps over the lazy", "dog that sleeps near",
                                             "the old stone bridge", "while a small boat",  "drifts down to the",
                                             "harbour where men",    "mend their long nets"};
const std::vector<std::string> rightColumn = {"Later in the evening", "lamps are lit along",  "the narrow streets,",
                                              "music comes from an",  "open window and some", "people have begun",
                                              "to dance until the",   "clock strikes twelve"};

/// Two columns of eight lines in 10 points.
std::string columns()
{
    std::string contents;
    for (std::size_t i = 0; i < leftColumn.size(); ++i) {
        const double y = 165 - 15 * static_cast<double>(i);
        contents += textAt(20, y, 10, leftColumn[i]) + textAt(170, y, 10, rightColumn[i]);
    }
    return contents;
}

QByteArray joined(const std::vector<std::string>& lines)
{
    QByteArray text;
    for (const std::string& line : lines)
        text += QByteArray(text.isEmpty() ? "" : "\n") + line.c_str();
    return text;
}

GrayImage pictureOf(const TemporaryFolder& folder, const std::string& contents)
{
    SamplePage page;
    page.contents = contents;
    page.mediaBox = pageBox;
    const auto document = PDFRender::open(folder.write("text.pdf", documentWith({page})));
    const std::optional<RasterImage> image = document->render(0, dotsPerPoint);
    GrayImage picture;
    picture.width = image->width;
    picture.height = image->height;
    for (int y = 0; y < image->height; ++y) {
        const std::span<const std::byte> row = image->row(y);
        for (std::size_t x = 0; x < row.size(); x += 3)
            picture.pixels.push_back(row[x]);
    }
    return picture;
}

GrayImage turnedOver(GrayImage picture)
{
    std::ranges::reverse(picture.pixels);
    return picture;
}

GrayImage onItsSide(const GrayImage& picture)
{
    GrayImage turned = picture;
    std::swap(turned.width, turned.height);
    for (int y = 0; y < picture.height; ++y) {
        for (int x = 0; x < picture.width; ++x) {
            const auto from = static_cast<std::size_t>(y * picture.width + x);
            const auto to = static_cast<std::size_t>(x * turned.width + (picture.height - 1 - y));
            turned.pixels[to] = picture.pixels[from];
        }
    }
    return turned;
}

/// A page that shows the picture and nothing else.
std::string scanOf(const GrayImage& picture, int pages = 1)
{
    PDFBuilder builder;
    const std::string_view pixels(reinterpret_cast<const char*>(picture.pixels.data()), picture.pixels.size());
    const int image =
        builder.addStream(pixels,
                          "/Type /XObject /Subtype /Image /ColorSpace /DeviceGray "
                          "/BitsPerComponent 8 /Width "
                              + std::to_string(picture.width) + " /Height " + std::to_string(picture.height));
    for (int i = 0; i < pages; ++i) {
        const std::string width = std::to_string(picture.width / dotsPerPoint);
        const std::string height = std::to_string(picture.height / dotsPerPoint);
        SamplePage page;
        page.contents = "q " + width + " 0 0 " + height + " 0 0 cm /Scan Do Q";
        page.mediaBox = "[0 0 " + width + " " + height + "]";
        page.resources = "/XObject << /Scan " + reference(image) + " >>";
        builder.addPage(page);
    }
    return builder.build();
}

bool hasLanguages()
{
    return module<RecognitionModule>("recognition").openSession() != nullptr;
}

constexpr auto needsLanguages = "no language data for Tesseract is installed, see packages/build.txt";

} // namespace

class RecognitionTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void readsScansInReadingOrderAnyWayUp_data()
    {
        QTest::addColumn<int>("turn");
        QTest::newRow("upright") << 0;
        QTest::newRow("on its side") << 1;
        QTest::newRow("on its head") << 2;
        QTest::newRow("on its other side") << 3;
    }
    void readsScansInReadingOrderAnyWayUp()
    {
        if (!hasLanguages())
            QSKIP(needsLanguages);
        QFETCH(int, turn);
        const TemporaryFolder folder;
        GrayImage picture = pictureOf(folder, columns());
        if (turn >= 2)
            picture = turnedOver(picture);
        if (turn % 2 == 1)
            picture = onItsSide(picture);
        const std::string text = TextExtraction::plainTextOf(folder.write("scan.pdf", scanOf(picture)), {});
        const std::size_t cut = text.find("\n\n");
        QVERIFY(cut != std::string::npos);
        QCOMPARE(QByteArray::fromStdString(text.substr(0, cut)), joined(leftColumn));
        QCOMPARE(QByteArray::fromStdString(text.substr(cut + 2)), joined(rightColumn) + '\n');
    }

    void givesBoxesFromTheBottomLeft()
    {
        if (!hasLanguages())
            QSKIP(needsLanguages);
        const TemporaryFolder folder;
        const auto session = module<RecognitionModule>("recognition").openSession();
        const GrayImage picture = pictureOf(folder, textAt(60, 150, 20, "Hello world"));
        const auto lines = session->makeRecognizer()->recognize(picture, {});
        QCOMPARE(lines.size(), std::size_t(1));
        QVERIFY(std::abs(lines.front().minX - 60.0 / 300) < 0.01);
        QVERIFY(lines.front().minY < 150.0 / 200 && lines.front().minY > 140.0 / 200);
        QVERIFY(lines.front().maxY > 163.0 / 200 && lines.front().maxY < 173.0 / 200);
    }

    /// With the library's own team of threads a page takes eight times as long.
    void recognizesOnOneThread()
    {
        if (!hasLanguages())
            QSKIP(needsLanguages);
        const TemporaryFolder folder;
        const GrayImage picture = pictureOf(folder, textAt(60, 150, 20, "Hello world"));
        const auto session = module<RecognitionModule>("recognition").openSession();
        int levels = -1;
        std::jthread([&] {
            session->makeRecognizer()->recognize(picture, {});
            void* const library = dlopen("libgomp.so.1", RTLD_NOW | RTLD_NOLOAD);
            const auto query =
                reinterpret_cast<int (*)()>(library ? dlsym(library, "omp_get_max_active_levels") : nullptr);
            levels = query ? query() : -1;
        }).join();
        QCOMPARE(levels, 0);
    }

    void stopsWhenAsked()
    {
        if (!hasLanguages())
            QSKIP(needsLanguages);
        const TemporaryFolder folder;
        const auto file = folder.write("scan.pdf", scanOf(pictureOf(folder, columns()), 20));
        std::stop_source source;
        JobControl control;
        control.stop = source.get_token();
        int pages = 0;
        control.progress = [&](int done, int) {
            pages = done;
            source.request_stop();
        };
        QVERIFY_EXCEPTION_THROWN(TextExtraction::plainTextOf(file, control), JobCancelled);
        QCOMPARE(pages, 1);
    }

    void bulletsAndWordsStandAsTheyWere()
    {
        if (!hasLanguages())
            QSKIP(needsLanguages);
        const TemporaryFolder folder;
        const std::string contents = textAt(20, 150, 12, "\x95 First item of the list")
            + textAt(20, 132, 12, "O Captain! my Captain! our trip") + textAt(20, 114, 12, "0 pears and 3 apples");
        const auto file = folder.write("scan.pdf", scanOf(pictureOf(folder, contents)));
        QCOMPARE(QByteArray::fromStdString(TextExtraction::plainTextOf(file)),
                 QByteArray("• First item of the list\nO Captain! my Captain! our trip\n0 pears and 3 apples\n"));
    }

    void losesPatience()
    {
        if (!hasLanguages())
            QSKIP(needsLanguages);
        const TemporaryFolder folder;
        const auto session = module<RecognitionModule>("recognition").openSession();
        const auto recognizer = session->makeRecognizer();
        const GrayImage picture = pictureOf(folder, columns());
        QVERIFY_EXCEPTION_THROWN(recognizer->recognize(picture, {}, std::chrono::milliseconds(1)), std::runtime_error);
        QCOMPARE(recognizer->recognize(picture, {}).size(), leftColumn.size() + rightColumn.size());
    }

    /// Last: the library looks for its data once per engine, and the variable stays set.
    void tellsWhatToInstallWhereNoLanguageIs()
    {
        const TemporaryFolder folder;
        const auto file = folder.write("scan.pdf", scanOf(pictureOf(folder, columns())));
        const auto blank = folder.write("blank.pdf", documentWith({SamplePage()}));
        qputenv("TESSDATA_PREFIX", folder.path().c_str());
        std::vector<std::string> warnings;
        JobControl control;
        control.warning = [&warnings](std::string_view sentence) {
            warnings.emplace_back(sentence);
        };
        QCOMPARE(TextExtraction::plainTextOf(file, control), std::string("\n"));
        QCOMPARE(warnings.size(), std::size_t(1));
        QVERIFY(warnings.front().find("tesseract-ocr-eng") != std::string::npos);
        QCOMPARE(TextExtraction::plainTextOf(blank, control), std::string("\n"));
        QCOMPARE(warnings.size(), std::size_t(1));
    }
};

QTEST_GUILESS_MAIN(RecognitionTest)
#include "RecognitionTest.moc"
