#include "PelgraCore/PDFRendering.h"

#include "PelgraCore/EngineError.h"
#include "RenderingModule.h"
#include "Support/PDFSamples.h"
#include "Support/TemporaryFolder.h"

#include <QTest>

#include <cmath>
#include <limits>

#include <sys/stat.h>

using namespace Pelgra;

namespace {

using Color = std::array<int, 3>;

Color pixelAt(const RasterImage& image, int x, int y)
{
    const auto row = image.row(y);
    const auto at = static_cast<std::size_t>(x) * 3;
    return {std::to_integer<int>(row[at]), std::to_integer<int>(row[at + 1]), std::to_integer<int>(row[at + 2])};
}

bool isNear(const Color& color, const Color& wanted)
{
    for (std::size_t index = 0; index < 3; ++index)
        if (std::abs(color[index] - wanted[index]) > 2)
            return false;
    return true;
}

constexpr Color white{255, 255, 255};
constexpr Color red{255, 0, 0};
constexpr Color green{0, 255, 0};
constexpr Color blue{0, 0, 255};

} // namespace

class PDFRenderingTest : public QObject {
    Q_OBJECT

    TemporaryFolder m_folder;

    std::unique_ptr<PDFDocument> open(const std::string& content)
    {
        return PDFRender::open(m_folder.write("document.pdf", content));
    }
    bool isUnreadable(const std::filesystem::path& file)
    {
        try {
            PDFRender::open(file);
        } catch (const EngineError& error) {
            return error == EngineError::unreadable(file);
        }
        return false;
    }

private slots:
    void sizesPagesAsShown_data();
    void sizesPagesAsShown();
    void cutsPixelsOff_data();
    void cutsPixelsOff();
    void drawsEachCornerWhereItBelongs_data();
    void drawsEachCornerWhereItBelongs();
    void fillsTheBitmapExactly();
    void smoothsTheEdgesOfText();
    void drawsAnnotationsAndHidesLayers();
    void drawsBandsLikeTheWholePage();
    void capsTheLongerSide();
    void drawsWhatAFaultyPageStillHolds();
    void refusesPagesThatAreNotThere();
    void countsThePagesThatAreThere_data();
    void countsThePagesThatAreThere();
    void repairsCrossReferences();
    void refusesWhatIsNoDocument();
    void stopsInTheMiddleOfAPage();
    void repeatsPatternsInBoundedTime();
    void refusesAJpxThatClaimsTooMuch();
    void endsOnNestedInput_data();
    void endsOnNestedInput();
};

void PDFRenderingTest::sizesPagesAsShown_data()
{
    QTest::addColumn<QString>("mediaBox");
    QTest::addColumn<QString>("entries");
    QTest::addColumn<double>("width");
    QTest::addColumn<double>("height");
    const QString letter = "[0 0 612 792]";
    QTest::newRow("plain") << letter << "" << 612.0 << 792.0;
    QTest::newRow("decimal digits are meant exactly") << "[0 0 419.04 595.28]"
                                                      << "" << 419.04 << 595.28;
    QTest::newRow("44 degrees") << letter << "/Rotate 44" << 612.0 << 792.0;
    QTest::newRow("46 degrees") << letter << "/Rotate 46" << 792.0 << 612.0;
    QTest::newRow("-90 degrees") << letter << "/Rotate -90" << 792.0 << 612.0;
    QTest::newRow("450 degrees") << letter << "/Rotate 450" << 792.0 << 612.0;
    QTest::newRow("crop box") << letter << "/CropBox [100 200 300 500]" << 200.0 << 300.0;
    QTest::newRow("inverted crop box") << letter << "/CropBox [300 500 100 200]" << 200.0 << 300.0;
    QTest::newRow("crop box beyond the page") << letter << "/CropBox [512 -50 900 100]" << 100.0 << 100.0;
    QTest::newRow("crop box beside the page") << letter << "/CropBox [1000 1000 1200 1300]" << 612.0 << 792.0;
    QTest::newRow("crop box without width") << letter << "/CropBox [100 100 100 500]" << 612.0 << 792.0;
    QTest::newRow("media box without size") << "[0 0 0 0]"
                                            << "" << 612.0 << 792.0;
    QTest::newRow("no media box") << ""
                                  << "" << 612.0 << 792.0;
    QTest::newRow("user unit") << letter << "/UserUnit 2" << 612.0 << 792.0;
    QTest::newRow("less than a point") << "[0 0 0.5 0.25]"
                                       << "" << 0.5 << 0.25;
}

void PDFRenderingTest::sizesPagesAsShown()
{
    QFETCH(QString, mediaBox);
    QFETCH(QString, entries);
    SamplePage page;
    page.mediaBox = mediaBox.toStdString();
    page.entries = entries.toStdString();
    const PageSize size = open(documentWith({page}))->displayedSize(0);
    QTEST(size.width, "width");
    QTEST(size.height, "height");
}

void PDFRenderingTest::cutsPixelsOff_data()
{
    QTest::addColumn<double>("width");
    QTest::addColumn<double>("height");
    QTest::addColumn<double>("scale");
    QTest::addColumn<QSize>("pixels"); // empty: none
    QTest::newRow("letter at 300 dpi") << 612.0 << 792.0 << 300 / 72.0 << QSize(2550, 3300);
    QTest::newRow("A4 at 300 dpi") << 595.276 << 841.89 << 300 / 72.0 << QSize(2480, 3507);
    QTest::newRow("thumbnail keeps its longer side") << 595.28 << 841.89 << 400 / 841.89 << QSize(282, 400);
    QTest::newRow("at least one pixel") << 1000.0 << 0.1 << 1.0 << QSize(1000, 1);
    QTest::newRow("cap") << 100.0 << 40000.0 << 1.0 << QSize(80, 32000);
    QTest::newRow("cap of an odd length") << 39999.0 << 7.0 << 1.0 << QSize(32000, 5);
    QTest::newRow("endless scale") << 10.0 << 5.0 << std::numeric_limits<double>::infinity() << QSize(32000, 16000);
    QTest::newRow("no scale") << 612.0 << 792.0 << 0.0 << QSize();
    QTest::newRow("not a number") << 612.0 << 792.0 << std::nan("") << QSize();
    QTest::newRow("no width") << 0.0 << 792.0 << 1.0 << QSize();
}

void PDFRenderingTest::cutsPixelsOff()
{
    QFETCH(double, width);
    QFETCH(double, height);
    QFETCH(double, scale);
    QFETCH(QSize, pixels);
    const std::optional<PixelSize> size = pixelSizeFor({width, height}, scale);
    QCOMPARE(size ? QSize(size->width, size->height) : QSize(), pixels);
}

void PDFRenderingTest::drawsEachCornerWhereItBelongs_data()
{
    QTest::addColumn<QString>("entries");
    QTest::addColumn<QList<int>>("order"); // corners from the top left in rows: 0 red, 1 green, 2 blue, 3 white
    QTest::newRow("upright") << "" << QList<int>{0, 1, 2, 3};
    QTest::newRow("quarter turn") << "/Rotate 90" << QList<int>{2, 0, 3, 1};
    QTest::newRow("half turn") << "/Rotate 180" << QList<int>{3, 2, 1, 0};
    QTest::newRow("three quarters") << "/Rotate -90" << QList<int>{1, 3, 0, 2};
    QTest::newRow("user unit") << "/UserUnit 3" << QList<int>{0, 1, 2, 3};
    QTest::newRow("crop box around one quarter") << "/CropBox [50 50 250 150]" << QList<int>{0, 0, 0, 0};
    QTest::newRow("crop box turned") << "/CropBox [50 0 150 100] /Rotate 90" << QList<int>{2, 0, 2, 0};
}

void PDFRenderingTest::drawsEachCornerWhereItBelongs()
{
    QFETCH(QString, entries);
    QFETCH(QList<int>, order);
    const std::array colors{red, green, blue, white};
    SamplePage page;
    page.mediaBox = "[50 -50 450 150]"; // 400 × 200 off the origin; its quarters meet at (250, 50)
    page.entries = entries.toStdString();
    page.contents = filledRectangle(50, 50, 200, 100, 1, 0, 0) + filledRectangle(250, 50, 200, 100, 0, 1, 0)
        + filledRectangle(50, -50, 200, 100, 0, 0, 1);
    const auto document = open(documentWith({page}));
    const auto image = document->render(0, 0.5);
    QVERIFY(image);
    for (int corner = 0; corner < 4; ++corner) {
        const int x = corner % 2 == 0 ? 4 : image->width - 5;
        const int y = corner < 2 ? 4 : image->height - 5;
        QVERIFY2(isNear(pixelAt(*image, x, y), colors[static_cast<std::size_t>(order[corner])]),
                 qPrintable(QString("corner %1").arg(corner)));
    }
}

void PDFRenderingTest::fillsTheBitmapExactly()
{
    SamplePage page;
    page.mediaBox = "[0 0 99.9 49.9]"; // cut off to 99 × 49 pixels: the drawing is scaled to fit them
    page.contents = filledRectangle(0, 0, 99.9, 49.9, 0, 0, 1);
    const auto image = open(documentWith({page}))->render(0, 1);
    QVERIFY(image);
    QCOMPARE(QSize(image->width, image->height), QSize(99, 49));
    QVERIFY(isNear(pixelAt(*image, 0, 0), blue));
    QVERIFY(isNear(pixelAt(*image, 98, 48), blue));
}

void PDFRenderingTest::smoothsTheEdgesOfText()
{
    SamplePage page;
    page.contents = textAt(72, 700, 24, "Smooth edges");
    const auto image = open(documentWith({page}))->render(0, 1);
    QVERIFY(image);
    int dark = 0, between = 0;
    for (int y = 60; y < 100; ++y)
        for (int x = 60; x < 300; ++x) {
            const Color color = pixelAt(*image, x, y);
            QVERIFY(color[0] == color[1] && color[1] == color[2]);
            dark += color[0] < 20;
            between += color[0] >= 20 && color[0] < 235;
        }
    QVERIFY(dark > 200);
    QVERIFY(between > 200);
}

void PDFRenderingTest::drawsAnnotationsAndHidesLayers()
{
    PDFBuilder builder;
    const int appearance =
        builder.addStream("0 1 0 rg 0 0 100 100 re f", "/Type /XObject /Subtype /Form /BBox [0 0 100 100]");
    const int annotation = builder.add("<< /Type /Annot /Subtype /Stamp /Rect [0 0 100 100] /F 4 /AP << /N "
                                       + reference(appearance) + " >> >>");
    const int field =
        builder.add("<< /Type /Annot /Subtype /Widget /FT /Tx /T (name) /Rect [100 0 200 100] /F 4 /AP << /N "
                    + reference(appearance) + " >> >>");
    const int layer = builder.add("<< /Type /OCG /Name (hidden) >>");
    builder.addToCatalog("/OCProperties << /OCGs [" + reference(layer) + "] /D << /OFF [" + reference(layer)
                         + "] >> >> /AcroForm << /Fields [" + reference(field) + "] >>");
    SamplePage page;
    page.mediaBox = "[0 0 200 200]";
    page.contents = "/OC /Hidden BDC " + filledRectangle(0, 100, 100, 100, 1, 0, 0) + "EMC "
        + filledRectangle(100, 100, 100, 100, 0, 0, 1);
    page.resources = "/Properties << /Hidden " + reference(layer) + " >>";
    page.entries = "/Annots [" + reference(annotation) + " " + reference(field) + "]";
    builder.addPage(page);
    const auto image = open(builder.build())->render(0, 1);
    QVERIFY(image);
    QVERIFY(isNear(pixelAt(*image, 50, 150), green)); // the stamp
    QVERIFY(isNear(pixelAt(*image, 150, 150), green)); // the form field
    QVERIFY(isNear(pixelAt(*image, 50, 50), white)); // the hidden layer
    QVERIFY(isNear(pixelAt(*image, 150, 50), blue));
}

void PDFRenderingTest::drawsBandsLikeTheWholePage()
{
    SamplePage page;
    page.contents = filledRectangle(100, 100, 300, 500, 1, 0, 0) + textAt(80, 400, 60, "Across bands");
    const auto renderer = openRenderer(m_folder.write("bands.pdf", documentWith({page})));
    const auto whole = renderer->render(0, 1);
    QVERIFY(whole);
    const PixelSize size{whole->width, whole->height};
    PixelBuffer bands(size.byteCount());
    constexpr int bandRows = 100;
    for (int top = 0; top < size.height; top += bandRows) {
        const auto rows = static_cast<std::size_t>(std::min(bandRows, size.height - top));
        QVERIFY(renderer->drawRows(
            0, size, top,
            std::span(bands).subspan(static_cast<std::size_t>(top) * size.rowBytes(), rows * size.rowBytes()), {}));
    }
    QVERIFY(bands == whole->pixels);
}

void PDFRenderingTest::capsTheLongerSide()
{
    SamplePage page;
    page.mediaBox = "[0 0 100 40000]";
    page.contents = filledRectangle(0, 0, 100, 40000, 0, 1, 0);
    const auto image = open(documentWith({page}))->render(0, 1);
    QVERIFY(image);
    QCOMPARE(QSize(image->width, image->height), QSize(80, 32000));
    QVERIFY(isNear(pixelAt(*image, 79, 31999), green));
}

void PDFRenderingTest::drawsWhatAFaultyPageStillHolds()
{
    SamplePage page;
    page.contents = filledRectangle(0, 0, 306, 792, 0, 0, 1) + "/Missing Do ) >> q q 1 2 zz (open\n";
    const auto image = open(documentWith({page}))->render(0, 0.1);
    QVERIFY(image);
    QVERIFY(isNear(pixelAt(*image, 10, 10), blue));
    QVERIFY(isNear(pixelAt(*image, 50, 10), white));
}

void PDFRenderingTest::refusesPagesThatAreNotThere()
{
    const auto document = open(documentWith({SamplePage()}));
    QCOMPARE(document->pageCount(), 1);
    QVERIFY(!document->render(1, 1));
    QVERIFY(!document->render(-1, 1));
    QVERIFY(!document->render(0, 0));
    QVERIFY(!document->render(0, std::nan("")));
    QCOMPARE(document->displayedSize(7).width, 0.0);
}

void PDFRenderingTest::countsThePagesThatAreThere_data()
{
    QTest::addColumn<QString>("tree");
    QTest::addColumn<QStringList>("branches");
    QTest::addColumn<QList<int>>("widths"); // of the pages found; the samples are 100, 200 and 300 points wide
    // Pages are objects 5, 7 and 9; branches 10 and up.
    QTest::newRow("true count") << "/Count 3 /Kids [5 0 R 7 0 R 9 0 R]" << QStringList() << QList<int>{100, 200, 300};
    QTest::newRow("enormous count") << "/Count 1410065407 /Kids [5 0 R 7 0 R]" << QStringList() << QList<int>{100, 200};
    QTest::newRow("negative count") << "/Count -1 /Kids [5 0 R]" << QStringList() << QList<int>{100};
    QTest::newRow("no count") << "/Kids [9 0 R 5 0 R]" << QStringList() << QList<int>{300, 100};
    QTest::newRow("nothing between pages")
        << "/Count 4 /Kids [5 0 R null 99 0 R 7 0 R]" << QStringList() << QList<int>{100, 200};
    QTest::newRow("branch with a wrong count")
        << "/Count 3 /Kids [10 0 R 9 0 R]" << QStringList{"<< /Type /Pages /Count 1 /Kids [5 0 R 7 0 R] >>"}
        << QList<int>{100, 200, 300};
    QTest::newRow("circle") << "/Count 2 /Kids [5 0 R 10 0 R 7 0 R]"
                            << QStringList{"<< /Type /Pages /Count 1 /Kids [2 0 R 10 0 R] >>"} << QList<int>{100, 200};
    QTest::newRow("a page used twice") << "/Count 2 /Kids [5 0 R 5 0 R]" << QStringList() << QList<int>{100, 100};
    QTest::newRow("empty") << "/Count 0 /Kids []" << QStringList() << QList<int>{};
}

void PDFRenderingTest::countsThePagesThatAreThere()
{
    QFETCH(QString, tree);
    QFETCH(QStringList, branches);
    QFETCH(QList<int>, widths);
    PDFBuilder builder;
    for (const int width : {100, 200, 300}) {
        SamplePage page;
        page.mediaBox = "[0 0 " + std::to_string(width) + " 100]";
        builder.addPage(page);
    }
    for (const QString& branch : branches)
        builder.add(branch.toStdString());
    builder.set(2, "<< /Type /Pages " + tree.toStdString() + " >>");
    const auto document = open(builder.build());
    QCOMPARE(document->pageCount(), widths.size());
    for (int index = 0; index < widths.size(); ++index)
        QCOMPARE(document->displayedSize(index).width, double(widths[index]));
}

void PDFRenderingTest::repairsCrossReferences()
{
    SamplePage page;
    page.contents = filledRectangle(0, 0, 612, 792, 1, 0, 0);
    std::string content = documentWith({page});
    const auto start = content.find("xref\n");
    content.replace(content.find("startxref"), std::string::npos, "startxref\n99999999\n%%EOF\n");
    const auto wrongOffset = open(content)->render(0, 0.1);
    QVERIFY(wrongOffset && isNear(pixelAt(*wrongOffset, 5, 5), red));
    const auto cutOff = open(content.substr(0, start))->render(0, 0.1);
    QVERIFY(cutOff && isNear(pixelAt(*cutOff, 5, 5), red));
    std::string shortTable = documentWith({page});
    shortTable.replace(shortTable.find("xref\n0 "), 8, "xref\n0 2"); // hides all but the catalogue
    const auto hidden = open(shortTable)->render(0, 0.1);
    QVERIFY(hidden && isNear(pixelAt(*hidden, 5, 5), red));
    std::string lostRoot = documentWith({page});
    lostRoot.replace(lostRoot.find("/Root 1"), 7, "/Root 9");
    const auto found = open(lostRoot)->render(0, 0.1);
    QVERIFY(found && isNear(pixelAt(*found, 5, 5), red));
}

void PDFRenderingTest::refusesWhatIsNoDocument()
{
    QVERIFY(isUnreadable(m_folder / "missing.pdf"));
    QVERIFY(isUnreadable(m_folder.path()));
    QVERIFY(isUnreadable(m_folder.write("empty.pdf", "")));
    QVERIFY(isUnreadable(m_folder.write("words.pdf", "These are words and no document.")));
    const auto pipe = m_folder / "pipe.pdf";
    QCOMPARE(mkfifo(pipe.c_str(), 0600), 0);
    QVERIFY(isUnreadable(pipe));
}

void PDFRenderingTest::stopsInTheMiddleOfAPage()
{
    SamplePage page;
    page.mediaBox = "[0 0 3000 3000]";
    for (int count = 0; count < 3000; ++count)
        page.contents += textAt(count % 50, count, 40, "A page that takes seconds to draw");
    const auto renderer = openRenderer(m_folder.write("long.pdf", documentWith({page})));
    PixelBuffer pixels(std::size_t{3000} * 3000 * 3);
    std::stop_source stop;
    stop.request_stop();
    QVERIFY(!renderer->drawRows(0, {3000, 3000}, 0, pixels, stop.get_token()));
    // The document is none the worse for it.
    QVERIFY(renderer->render(0, 0.1));
}

void PDFRenderingTest::repeatsPatternsInBoundedTime()
{
    PDFBuilder builder;
    const auto pattern = [&](const std::string& step) {
        return reference(builder.addStream("1 0 0 rg 0 0 50 100 re f",
                                           "/Type /Pattern /PatternType 1 /PaintType 1 /TilingType 1 /Resources << >> "
                                           "/BBox [0 0 100 100] /XStep "
                                               + step + " /YStep " + step));
    };
    SamplePage page;
    page.contents = "/Pattern cs /Fine scn 0 0 200 400 re f /Usual scn 200 0 400 400 re f";
    page.resources = "/Pattern << /Fine " + pattern("0.0001") + " /Usual " + pattern("100") + " >>";
    builder.addPage(page);
    const auto image = open(builder.build())->render(0, 1);
    QVERIFY(image);
    QVERIFY(isNear(pixelAt(*image, 100, 600), red)); // without gaps
    QVERIFY(isNear(pixelAt(*image, 225, 600), red));
    QVERIFY(isNear(pixelAt(*image, 275, 600), white));
}

void PDFRenderingTest::refusesAJpxThatClaimsTooMuch()
{
    const auto number = [](unsigned value, int bytes) {
        std::string text;
        for (int shift = 8 * (bytes - 1); shift >= 0; shift -= 8)
            text += static_cast<char>(value >> shift & 0xFF);
        return text;
    };
    const auto segment = [&](unsigned marker, const std::string& body) {
        return number(marker, 2) + number(static_cast<unsigned>(body.size()) + 2, 2) + body;
    };
    // One tile of 10,000 × 10,000 pixels in three components and no data: 1.2 GB to the decoder, which would succeed.
    std::string size = number(0, 2);
    for (const unsigned value : {10000U, 10000U, 0U, 0U, 10000U, 10000U, 0U, 0U})
        size += number(value, 4);
    size += number(3, 2) + number(0x070101, 3) + number(0x070101, 3) + number(0x070101, 3);
    const std::string picture = number(0xFF4F, 2) + segment(0xFF51, size)
        + segment(0xFF52,
                  number(0, 1) + number(0, 1) + number(1, 2) + number(0, 1) + number(5, 1) + number(0x0404, 2)
                      + number(1, 2))
        + segment(0xFF5C, number(0x40, 1) + std::string(16, 'H'))
        + segment(0xFF90, number(0, 2) + number(34, 4) + number(1, 2)) + number(0xFF93, 2) + std::string(20, '\x80')
        + number(0xFFD9, 2);
    PDFBuilder builder;
    SamplePage page;
    page.contents = "600 0 0 700 0 0 cm /Huge Do";
    page.resources = "/XObject << /Huge "
        + reference(builder.addStream(picture,
                                      "/Type /XObject /Subtype /Image /Width 10000 /Height 10000 "
                                      "/ColorSpace /DeviceRGB /BitsPerComponent 8 /Filter /JPXDecode"))
        + " >>";
    builder.addPage(page);
    QVERIFY(!open(builder.build())->render(0, 1));
}

void PDFRenderingTest::endsOnNestedInput_data()
{
    QTest::addColumn<QByteArray>("content");
    const auto withContents = [](const std::string& contents) {
        SamplePage page;
        page.contents = contents;
        return QByteArray::fromStdString(documentWith({page}));
    };
    const auto repeated = [](std::string_view part, int count) {
        std::string all;
        for (int index = 0; index < count; ++index)
            all += part;
        return all;
    };
    constexpr int deep = 100'000;
    QTest::newRow("arrays in the contents") << withContents(repeated("[", deep));
    QTest::newRow("dictionaries in the contents") << withContents(repeated("/A << ", deep));
    QTest::newRow("saved states") << withContents(repeated("q ", deep));
    QTest::newRow("clips") << withContents(repeated("q 0 0 9 9 re W n ", deep));
    {
        PDFBuilder builder;
        builder.addPage({});
        builder.add(repeated("[", deep));
        builder.add(repeated("<< /A ", deep));
        builder.addToCatalog("/Extra " + repeated("[", deep) + repeated("]", deep));
        QTest::newRow("objects") << QByteArray::fromStdString(builder.build());
    }
    {
        PDFBuilder builder;
        SamplePage page;
        page.contents = "/Form Do";
        const int form = builder.reserve();
        page.resources = "/XObject << /Form " + reference(form) + " >>";
        builder.addPage(page);
        builder.set(form,
                    "<< /Type /XObject /Subtype /Form /BBox [0 0 9 9] /Resources << /XObject << /Form "
                        + reference(form) + " >> >> /Length 8 >>\nstream\n/Form Do\nendstream");
        QTest::newRow("a form within itself") << QByteArray::fromStdString(builder.build());
    }
    {
        PDFBuilder builder;
        SamplePage page;
        page.contents = "/Form Do";
        constexpr int forms = 4'000;
        int inner = builder.addStream("0 0 9 9 re f", "/Type /XObject /Subtype /Form /BBox [0 0 9 9]");
        for (int count = 0; count < forms; ++count)
            inner = builder.addStream("/Form Do",
                                      "/Type /XObject /Subtype /Form /BBox [0 0 9 9] /Resources << /XObject << /Form "
                                          + reference(inner) + " >> >>");
        page.resources = "/XObject << /Form " + reference(inner) + " >>";
        builder.addPage(page);
        QTest::newRow("forms in a long chain") << QByteArray::fromStdString(builder.build());
    }
    {
        PDFBuilder builder;
        builder.addPage({});
        constexpr int branches = 30'000;
        int inner = builder.pageObject(0);
        for (int count = 0; count < branches; ++count)
            inner = builder.add("<< /Type /Pages /Count 1 /Kids [" + reference(inner) + "] >>");
        builder.set(2, "<< /Type /Pages /Count 1 /Kids [" + reference(inner) + "] >>");
        QTest::newRow("page tree") << QByteArray::fromStdString(builder.build());
    }
}

void PDFRenderingTest::endsOnNestedInput()
{
    QFETCH(QByteArray, content);
    try {
        const auto document = open(content.toStdString());
        const auto image = document->render(0, 1);
        QVERIFY(!image || image->width == 612);
    } catch (const EngineError& error) {
        QCOMPARE(error.caseName(), "unreadable");
    }
}

QTEST_GUILESS_MAIN(PDFRenderingTest)
#include "PDFRenderingTest.moc"
