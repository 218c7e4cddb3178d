#include "PelgraCore/Thumbnails.h"

#include "Support/PDFSamples.h"
#include "Support/TemporaryFolder.h"

#include <QTest>

#include <cmath>
#include <limits>

using namespace Pelgra;

class ThumbnailsTest : public QObject {
    Q_OBJECT

    TemporaryFolder m_folder;
    std::filesystem::path m_file;

private slots:
    void initTestCase();
    void drawsPagesAtExactlyTheirLongerSide_data();
    void drawsPagesAtExactlyTheirLongerSide();
    void givesNothingForWhatIsNotThere();
    void countsPages();
};

void ThumbnailsTest::initTestCase()
{
    std::vector<SamplePage> pages(2);
    pages[0].mediaBox = "[0 0 595.28 841.89]";
    pages[1].mediaBox = "[0 0 333.333 77.7]";
    pages[1].entries = "/Rotate 90";
    m_file = m_folder.write("two.PDF", documentWith(pages));
}

void ThumbnailsTest::drawsPagesAtExactlyTheirLongerSide_data()
{
    QTest::addColumn<int>("page");
    QTest::addColumn<double>("maxPixels");
    QTest::addColumn<QSize>("size");
    QTest::newRow("row of a list") << 0 << 96.0 << QSize(67, 96);
    QTest::newRow("card") << 0 << 400.0 << QSize(282, 400);
    QTest::newRow("turned") << 1 << 400.0 << QSize(93, 400);
    QTest::newRow("larger than the page") << 1 << 2999.0 << QSize(699, 2999);
    QTest::newRow("fraction of a pixel") << 0 << 0.4 << QSize(1, 1);
}

void ThumbnailsTest::drawsPagesAtExactlyTheirLongerSide()
{
    QFETCH(int, page);
    QFETCH(double, maxPixels);
    const auto image = Thumbnails::image(m_file, page, maxPixels);
    QVERIFY(image);
    QTEST(QSize(image->width, image->height), "size");
    Thumbnails::Pages pages(m_file);
    for (int repeat = 0; repeat < 2; ++repeat) {
        const auto again = pages.image(page, maxPixels);
        QVERIFY(again && again->pixels == image->pixels);
        QVERIFY(!pages.image(2, maxPixels)); // and goes on
    }
}

void ThumbnailsTest::givesNothingForWhatIsNotThere()
{
    for (const double maxPixels : {0.0, -1.0, std::nan(""), std::numeric_limits<double>::infinity()}) {
        QVERIFY(!Thumbnails::image(m_file, 0, maxPixels));
        QVERIFY(!Thumbnails::Pages(m_file).image(0, maxPixels));
    }
    QVERIFY(!Thumbnails::image(m_file, 2, 96));
    QVERIFY(!Thumbnails::image(m_file, -1, 96));
    QVERIFY(!Thumbnails::image(m_folder / "missing.pdf", 0, 96));
    QVERIFY(!Thumbnails::image(m_folder.write("words.pdf", "words"), 0, 96));
    QVERIFY(!Thumbnails::Pages(m_folder / "words.pdf").image(0, 96));
    QVERIFY(!Thumbnails::image(m_folder.write("words.txt", "words"), 0, 96));
}

void ThumbnailsTest::countsPages()
{
    QCOMPARE(Thumbnails::pdfPageCount(m_file), 2);
    QCOMPARE(Thumbnails::pdfPageCount(m_folder / "missing.pdf"), 0);
    QCOMPARE(Thumbnails::pdfPageCount(m_folder.write("words.pdf", "words")), 0);
}

QTEST_GUILESS_MAIN(ThumbnailsTest)
#include "ThumbnailsTest.moc"
