#include "PelgraCore/PDFRendering.h"

#include "pages/OpenRenderer.h"
#include "PelgraCore/EngineError.h"
#include "PelgraCore/TextExtraction.h"
#include "Support/DrawnPages.h"
#include "Support/PDFSamples.h"
#include "Support/TemporaryFolder.h"

#include <QTest>

#include <cmath>
#include <ctime>

#include <sys/stat.h>

using namespace Pelgra;

/// Documents and pages that are damaged, hostile or not there.
class PDFFaultsTest : public QObject {
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
    void drawsWhatAFaultyPageStillHolds();
    void refusesPagesThatAreNotThere();
    void countsThePagesThatAreThere_data();
    void countsThePagesThatAreThere();
    void repairsCrossReferences();
    void refusesWhatIsNoDocument();
    void stopsInTheMiddleOfAPage();
    void givesUpAPageThatRunsAway();
    void repeatsPatternsInBoundedTime();
    void refusesAJpxThatClaimsTooMuch();
    void endsOnNestedInput_data();
    void endsOnNestedInput();
};

void PDFFaultsTest::drawsWhatAFaultyPageStillHolds()
{
    SamplePage page;
    page.contents = filledRectangle(0, 0, 306, 792, 0, 0, 1) + "/Missing Do ) >> q q 1 2 zz (open\n";
    const auto image = open(documentWith({page}))->render(0, 0.1);
    QVERIFY(image);
    QVERIFY(isNear(pixelAt(*image, 10, 10), blue));
    QVERIFY(isNear(pixelAt(*image, 50, 10), white));
}

void PDFFaultsTest::refusesPagesThatAreNotThere()
{
    const auto document = open(documentWith({SamplePage()}));
    QCOMPARE(document->pageCount(), 1);
    QVERIFY(!document->render(1, 1));
    QVERIFY(!document->render(-1, 1));
    QVERIFY(!document->render(0, 0));
    QVERIFY(!document->render(0, std::nan("")));
    QCOMPARE(document->displayedSize(7).width, 0.0);
}

void PDFFaultsTest::countsThePagesThatAreThere_data()
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

void PDFFaultsTest::countsThePagesThatAreThere()
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
    for (int index = 0; index < widths.size(); ++index) {
        QCOMPARE(document->displayedSize(index).width, double(widths[index]));
        // Looked for by itself, too.
        const auto partly = openRenderer(m_folder / "document.pdf", index + 1);
        QCOMPARE(partly->pageCount(), index + 1);
        QCOMPARE(partly->displayedSize(index).width, double(widths[index]));
    }
}

void PDFFaultsTest::repairsCrossReferences()
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

void PDFFaultsTest::refusesWhatIsNoDocument()
{
    QVERIFY(isUnreadable(m_folder / "missing.pdf"));
    QVERIFY(isUnreadable(m_folder.path()));
    QVERIFY(isUnreadable(m_folder.write("empty.pdf", "")));
    QVERIFY(isUnreadable(m_folder.write("words.pdf", "These are words and no document.")));
    const auto pipe = m_folder / "pipe.pdf";
    QCOMPARE(mkfifo(pipe.c_str(), 0600), 0);
    QVERIFY(isUnreadable(pipe));
}

void PDFFaultsTest::stopsInTheMiddleOfAPage()
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
    // The document still works after that.
    QVERIFY(renderer->render(0, 0.1));
}

void PDFFaultsTest::givesUpAPageThatRunsAway()
{
    PDFBuilder builder;
    // Each form shows the one before twenty times, outside the page.
    int inner = builder.addStream("0 0 9 9 re f", "/Type /XObject /Subtype /Form /BBox [0 0 9 9]");
    for (int count = 0; count < 8; ++count) {
        std::string contents;
        for (int times = 0; times < 20; ++times)
            contents += "/Form Do ";
        inner = builder.addStream(contents,
                                  "/Type /XObject /Subtype /Form /BBox [0 0 9 9] /Resources << /XObject << /Form "
                                      + reference(inner) + " >> >>");
    }
    SamplePage page;
    page.contents = filledRectangle(0, 0, 300, 300, 1, 0, 0) + "1 0 0 1 2000 2000 cm /Form Do";
    page.resources = "/XObject << /Form " + reference(inner) + " >>";
    builder.addPage(page);
    const std::clock_t begin = std::clock();
    QVERIFY(!open(builder.build())->render(0, 0.2));
    // Without progress it is over long before what a page may take at all.
    QVERIFY((std::clock() - begin) / CLOCKS_PER_SEC < 20);
}

void PDFFaultsTest::repeatsPatternsInBoundedTime()
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

void PDFFaultsTest::refusesAJpxThatClaimsTooMuch()
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
    builder.addPage({textAt(72, 700, 24, "A page of text"), "[0 0 612 792]", "", ""});
    builder.addPage(page);
    const auto document = open(builder.build());
    QVERIFY(document->render(0, 0.1));
    QVERIFY(!document->render(1, 1));
    // Nor can it be read, which must not look like a page without text.
    std::vector<std::string> warnings;
    JobControl control;
    control.warning = [&](std::string_view sentence) {
        warnings.emplace_back(sentence);
    };
    QCOMPARE(TextExtraction::plainTextOf(m_folder / "document.pdf", control), std::string("A page of text\n\f\n\n"));
    QCOMPARE(warnings, std::vector<std::string>{"“document.pdf”: nothing could be read on page 2."});
}

void PDFFaultsTest::endsOnNestedInput_data()
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

void PDFFaultsTest::endsOnNestedInput()
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

QTEST_GUILESS_MAIN(PDFFaultsTest)
#include "PDFFaultsTest.moc"
