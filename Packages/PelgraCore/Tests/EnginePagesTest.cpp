#include "pages/OpenRenderer.h"
#include "PelgraCore/Engine.h"

#include "pages/PageDrawing.h"
#include "PelgraCore/EngineError.h"
#include "PelgraCore/ImageLoading.h"
#include "Support/PDFSamples.h"
#include "Support/TemporaryFolder.h"

#include <QTest>

#include <cmath>

using namespace Pelgra;

namespace {

using Names = std::vector<std::string>;

/// The facts in the header chunks of a PNG file.
struct PngFacts {
    unsigned width = 0;
    unsigned height = 0;
    unsigned bitDepth = 0;
    unsigned colorType = 0; ///< 2 is RGB
    double dpi = 0;
};

unsigned bigEndian(std::string_view bytes, std::size_t offset)
{
    unsigned value = 0;
    for (std::size_t index = 0; index < 4; ++index)
        value = value << 8 | static_cast<unsigned char>(bytes.at(offset + index));
    return value;
}

PngFacts pngFacts(const std::filesystem::path& file)
{
    const std::string bytes = contentOf(file);
    if (bytes.substr(1, 3) != "PNG" || bytes.find("IEND") == std::string::npos)
        return {};
    const std::size_t density = bytes.find("pHYs") + 4;
    return {bigEndian(bytes, 16), bigEndian(bytes, 20), static_cast<unsigned>(bytes[24]),
            static_cast<unsigned>(bytes[25]), bigEndian(bytes, density) * 0.0254};
}

std::string pages(int count, double width = 100, double height = 50)
{
    SamplePage page;
    page.mediaBox = "[0 0 " + std::to_string(width) + " " + std::to_string(height) + "]";
    page.contents = filledRectangle(0, 0, width / 2, height, 1, 0, 0);
    return documentWith(std::vector<SamplePage>(static_cast<std::size_t>(count), page));
}

template <typename Job>
std::optional<EngineError> errorOf(Job&& job)
{
    try {
        job();
    } catch (const EngineError& error) {
        return error;
    }
    return std::nullopt;
}

} // namespace

class EnginePagesTest : public QObject {
    Q_OBJECT

private slots:
    void writesOnePageBesideTheDocument();
    void writesSeveralPagesIntoAFolder();
    void keepsWhatIsThere();
    void takesTheDensityFromTheOptions_data();
    void takesTheDensityFromTheOptions();
    void writesPagesWithoutColorInGray_data();
    void writesPagesWithoutColorInGray();
    void streamsPagesTooLargeToHold();
    void drawsInPartsWhatItDrawsWhole();
    void leavesNothingBehindAFailure_data();
    void leavesNothingBehindAFailure();
    void reportsPagesAndStops();
};

void EnginePagesTest::writesOnePageBesideTheDocument()
{
    const TemporaryFolder folder;
    const auto file = folder.write("Report.pdf", pages(1, 612, 792));
    const JobResult result = Engine::pdfToImages(file, FileFormat::png, {});
    QCOMPARE(result.outputs, std::vector{folder / "Report.png"});
    QCOMPARE(result.displayName, "Report.png");
    QCOMPARE(folder.names(), (Names{"Report.pdf", "Report.png"}));
    const PngFacts facts = pngFacts(folder / "Report.png");
    QCOMPARE(QSize(facts.width, facts.height), QSize(2550, 3300));
    QCOMPARE(facts.bitDepth, 8U);
    QVERIFY(std::abs(facts.dpi - 300) < 0.02);
}

void EnginePagesTest::writesSeveralPagesIntoAFolder()
{
    const TemporaryFolder folder;
    std::vector<SamplePage> mixed(12);
    for (std::size_t index = 0; index < mixed.size(); ++index)
        mixed[index].mediaBox = "[0 0 " + std::to_string(72 + 72 * index) + " 72]";
    const auto file = folder.write("Re.port.PDF", documentWith(mixed));
    const JobResult result = Engine::pdfToImages(file, FileFormat::png, {});
    QCOMPARE(result.outputs, std::vector{folder / "Re.port Pages"});
    QCOMPARE(result.displayName, "Re.port Pages");
    QCOMPARE(folder.names(), (Names{"Re.port Pages", "Re.port.PDF"}));
    for (unsigned index = 0; index < mixed.size(); ++index) {
        const PngFacts facts = pngFacts(folder / "Re.port Pages" / ("Re.port " + std::to_string(index + 1) + ".png"));
        QCOMPARE(QSize(facts.width, facts.height), QSize(300 + 300 * index, 300));
    }
    QCOMPARE(std::distance(std::filesystem::directory_iterator(folder / "Re.port Pages"), {}), 12);
}

void EnginePagesTest::keepsWhatIsThere()
{
    const TemporaryFolder folder;
    folder.write("One.jpg", "mine");
    folder.write("Two Pages", "mine");
    QCOMPARE(Engine::pdfToImages(folder.write("One.pdf", pages(1)), FileFormat::jpg, {}).displayName, "One 2.jpg");
    QCOMPARE(Engine::pdfToImages(folder.write("Two.pdf", pages(2)), FileFormat::jpg, {}).displayName, "Two Pages 2");
    QCOMPARE(contentOf(folder / "One.jpg"), "mine");
    QCOMPARE(contentOf(folder / "Two Pages"), "mine");
    QVERIFY(contentOf(folder / "Two Pages 2" / "Two 2.jpg").starts_with("\xFF\xD8\xFF"));
}

void EnginePagesTest::takesTheDensityFromTheOptions_data()
{
    QTest::addColumn<double>("asked");
    QTest::addColumn<double>("dpi");
    QTest::newRow("given") << 72.0 << 72.0;
    QTest::newRow("fraction") << 96.5 << 96.5;
    QTest::newRow("zero") << 0.0 << 300.0;
    QTest::newRow("negative") << -150.0 << 300.0;
    QTest::newRow("not a number") << std::nan("") << 300.0;
}

void EnginePagesTest::takesTheDensityFromTheOptions()
{
    QFETCH(double, asked);
    QFETCH(double, dpi);
    const TemporaryFolder folder;
    ConversionOptions options;
    options.pdfRasterDPI = asked;
    const JobResult result = Engine::pdfToImages(folder.write("a.pdf", pages(1, 720, 72)), FileFormat::png, options);
    const PngFacts facts = pngFacts(result.outputs.front());
    QCOMPARE(facts.width, static_cast<unsigned>(dpi * 10));
    QVERIFY(std::abs(facts.dpi - dpi) < 0.02);
}

void EnginePagesTest::writesPagesWithoutColorInGray_data()
{
    QTest::addColumn<QByteArray>("format");
    QTest::addColumn<bool>("isGray");
    QTest::newRow("png") << QByteArray("png") << true;
    QTest::newRow("jpg") << QByteArray("jpg") << true;
    QTest::newRow("tiff") << QByteArray("tiff") << true;
    QTest::newRow("bmp") << QByteArray("bmp") << false;
}

void EnginePagesTest::writesPagesWithoutColorInGray()
{
    QFETCH(QByteArray, format);
    QFETCH(bool, isGray);
    const TemporaryFolder folder;
    SamplePage text;
    text.mediaBox = "[0 0 101 50]";
    text.contents = filledRectangle(0, 0, 50, 50, 0.2, 0.2, 0.2);
    SamplePage warm = text;
    warm.contents += filledRectangle(100, 49, 1, 1, 1, 0.9, 0.9);
    ConversionOptions options;
    options.pdfRasterDPI = 72;
    const FileFormat target = *FileFormat::fromRawValue(format.toStdString());
    const std::filesystem::path pictures =
        Engine::pdfToImages(folder.write("a.pdf", documentWith({text, warm})), target, options).outputs.front();
    const auto pageImage = [&](int page) {
        const std::string name = "a " + std::to_string(page) + "." + std::string(target.pathExtension());
        return *ImageLoader::load(pictures / name).image;
    };
    const RasterImage gray = pageImage(1);
    QCOMPARE(gray.model == ColorModel::gray, isGray);
    QCOMPARE(QSize(gray.width, gray.height), QSize(101, 50));
    QVERIFY(std::abs(std::to_integer<int>(gray.row(20)[0]) - 51) <= 2);
    QVERIFY(std::to_integer<int>(gray.row(20).back()) >= 253);
    QCOMPARE(pageImage(2).model, ColorModel::rgb);
}

void EnginePagesTest::streamsPagesTooLargeToHold()
{
    const TemporaryFolder folder;
    ConversionOptions options;
    options.pdfRasterDPI = 72;
    const auto file = folder.write("poster.pdf", pages(1, 6000, 4500)); // 81 MB of pixels
    const JobResult result = Engine::pdfToImages(file, FileFormat::png, options);
    const PngFacts facts = pngFacts(result.outputs.front());
    QCOMPARE(QSize(facts.width, facts.height), QSize(6000, 4500));
}

void EnginePagesTest::drawsInPartsWhatItDrawsWhole()
{
    const TemporaryFolder folder;
    SamplePage page;
    page.contents = textAt(30, 300, 250, "Parts") + filledRectangle(100, 100, 400, 200.5, 0, 0, 1);
    const auto file = folder.write("a.pdf", documentWith({page}));
    RendererPool pool(file, openRenderer(file));
    const PixelSize size{2550, 3300};
    const RasterImage whole = drawPage(pool, 0, size, 1, {});
    QVERIFY(drawPage(pool, 0, size, 3, {}).pixels == whole.pixels);
    PageBands bands(pool, 0, {20000, 1300}, {});
    QVERIFY(PageBands::bandRows({20000, 1300}) < 1300);
    const RasterImage large = drawPage(pool, 0, {20000, 1300}, 1, {});
    // The edges of curves may round differently where a band begins.
    int different = 0;
    for (int y = 0; y < large.height; ++y) {
        const auto row = bands.row(y);
        for (std::size_t at = 0; at < row.size(); ++at) {
            const int distance = std::abs(std::to_integer<int>(row[at]) - std::to_integer<int>(large.row(y)[at]));
            QVERIFY(distance < 32);
            different += distance > 0;
        }
    }
    QVERIFY(different < 100);
}

void EnginePagesTest::leavesNothingBehindAFailure_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<QString>("target");
    QTest::addColumn<QString>("cause");
    PDFBuilder faulty;
    faulty.addPage({});
    faulty.addPage({});
    // Each layer within a layer is a bitmap of its own.
    int layer = faulty.addStream("0 0 612 792 re f", "/Type /XObject /Subtype /Form /BBox [0 0 612 792]");
    for (int depth = 0; depth < 40; ++depth)
        layer =
            faulty.addStream("/Half gs /Layer Do",
                             "/Type /XObject /Subtype /Form /BBox [0 0 612 792] /Group << /S /Transparency /I true >> "
                             "/Resources << /ExtGState << /Half << /ca 0.5 >> >> /XObject << /Layer "
                                 + reference(layer) + " >> >>");
    SamplePage page;
    page.contents = "/Layer Do";
    page.resources = "/XObject << /Layer " + reference(layer) + " >>";
    faulty.addPage(page);
    faulty.addPage({});
    QTest::newRow("a page in the middle needs too much memory") << QByteArray::fromStdString(faulty.build()) << "png"
                                                                << "unreadable";
    QTest::newRow("no document") << QByteArray("words") << "png"
                                 << "unreadable";
    QTest::newRow("no pages") << QByteArray::fromStdString(documentWith({})) << "png"
                              << "noPages";
    QTest::newRow("no encoder") << QByteArray::fromStdString(pages(2)) << "svg"
                                << "unsupported";
}

void EnginePagesTest::leavesNothingBehindAFailure()
{
    QFETCH(QByteArray, content);
    QFETCH(QString, target);
    QFETCH(QString, cause);
    const TemporaryFolder folder;
    const auto file = folder.write("a.pdf", content.toStdString());
    const auto error = errorOf([&] { Engine::pdfToImages(file, *FileFormat::fromRawValue(target.toStdString()), {}); });
    QVERIFY(error);
    QCOMPARE(QString::fromStdString(std::string(error->caseName())), cause);
    QCOMPARE(folder.names(), Names{"a.pdf"});
}

void EnginePagesTest::reportsPagesAndStops()
{
    const TemporaryFolder folder;
    const auto file = folder.write("a.pdf", pages(20));
    std::stop_source stop;
    std::vector<int> seen;
    JobControl control;
    control.progress = [&](int done, int total) {
        QCOMPARE(total, 20);
        seen.push_back(done);
    };
    Engine::pdfToImages(file, FileFormat::jpg, {}, control);
    QCOMPARE(seen.size(), std::size_t{20});
    QVERIFY(std::ranges::is_sorted(seen));
    QCOMPARE(seen.back(), 20);

    control.stop = stop.get_token();
    control.progress = [&](int done, int) {
        if (done == 3)
            stop.request_stop();
    };
    QVERIFY_EXCEPTION_THROWN(Engine::pdfToImages(file, FileFormat::jpg, {}, control), JobCancelled);
    QCOMPARE(folder.names(), (Names{"a Pages", "a.pdf"})); // of the first run alone
}

QTEST_GUILESS_MAIN(EnginePagesTest)
#include "EnginePagesTest.moc"
