#include "PelgraCore/PDFRendering.h"

#include "Support/DrawnPages.h"
#include "Support/PDFSamples.h"
#include "Support/TemporaryFolder.h"

#include <QTest>

using namespace Pelgra;

namespace {

/// As other readers show full amounts of ink, which is far from what subtraction gives.
constexpr DrawnColor cyanInk{0, 174, 239};
constexpr DrawnColor blackInk{35, 31, 32};
constexpr DrawnColor redOfInks{237, 28, 36};

} // namespace

class PDFColorsTest : public QObject {
    Q_OBJECT

    TemporaryFolder m_folder;

    /// The colour in the middle of a page that the contents fill.
    DrawnColor drawn(const std::string& contents, const std::string& resources)
    {
        SamplePage page;
        page.mediaBox = "[0 0 100 100]";
        page.contents = contents;
        page.resources = resources;
        return drawnBy(documentWith({page}));
    }
    DrawnColor drawnBy(const std::string& document)
    {
        const auto image = PDFRender::open(m_folder.write("document.pdf", document))->render(0, 1);
        return image ? pixelAt(*image, 50, 50) : DrawnColor{-1, -1, -1};
    }

private slots:
    void inkLooksAsPrinted_data();
    void inkLooksAsPrinted();
    void picturesInInkLookAlike_data();
    void picturesInInkLookAlike();
    void screenColorsInGroupsOfInkStay();
};

void PDFColorsTest::inkLooksAsPrinted_data()
{
    QTest::addColumn<QString>("color");
    QTest::addColumn<QList<int>>("wanted");
    QTest::newRow("paper") << "0 0 0 0 k" << QList<int>{255, 255, 255};
    QTest::newRow("cyan") << "1 0 0 0 k" << QList<int>{cyanInk.begin(), cyanInk.end()};
    QTest::newRow("black") << "0 0 0 1 k" << QList<int>{blackInk.begin(), blackInk.end()};
    QTest::newRow("overprint") << "0 1 1 0 k" << QList<int>{redOfInks.begin(), redOfInks.end()};
    QTest::newRow("every ink") << "1 1 1 1 k" << QList<int>{0, 0, 0};
    QTest::newRow("half") << "0.5 0 0 0 k" << QList<int>{128, 215, 247};
    QTest::newRow("beyond the range") << "7 -1 0 0 k" << QList<int>{cyanInk.begin(), cyanInk.end()};
    QTest::newRow("spot colour") << "/Spot cs 1 scn" << QList<int>{redOfInks.begin(), redOfInks.end()};
    QTest::newRow("screen") << "1 0 0 rg" << QList<int>{255, 0, 0};
    QTest::newRow("grey") << "0 g" << QList<int>{0, 0, 0};
}

void PDFColorsTest::inkLooksAsPrinted()
{
    QFETCH(QString, color);
    QFETCH(QList<int>, wanted);
    const DrawnColor shown =
        drawn(color.toStdString() + " 0 0 100 100 re f",
              "/ColorSpace << /Spot [/Separation /Warm /DeviceCMYK << /FunctionType 2 /Domain [0 1] /N 1 "
              "/C0 [0 0 0 0] /C1 [0 1 1 0] >>] >>");
    QVERIFY2(isNear(shown, {wanted[0], wanted[1], wanted[2]}),
             qPrintable(QString("%1 %2 %3").arg(shown[0]).arg(shown[1]).arg(shown[2])));
}

void PDFColorsTest::picturesInInkLookAlike_data()
{
    QTest::addColumn<QString>("mask");
    QTest::newRow("opaque") << "";
    QTest::newRow("behind a mask") << "/Mask [0 1 0 1 0 1 0 1]";
}

void PDFColorsTest::picturesInInkLookAlike()
{
    QFETCH(QString, mask);
    // Four pixels; the middle of the page lies in the last.
    const std::string pixels("\x00\x00\x00\x00\xFF\x00\x00\x00\x00\x00\x00\xFF\x00\xFF\xFF\x00", 16);
    PDFBuilder builder;
    SamplePage page;
    page.mediaBox = "[0 0 100 100]";
    page.contents = "120 0 0 120 -40 20 cm /Picture Do";
    page.resources = "/XObject << /Picture "
        + reference(builder.addStream(pixels,
                                      "/Type /XObject /Subtype /Image /Width 2 /Height 2 /ColorSpace /DeviceCMYK "
                                      "/BitsPerComponent 8 "
                                          + mask.toStdString()))
        + " >>";
    builder.addPage(page);
    QVERIFY(isNear(drawnBy(builder.build()), redOfInks, 4));
}

void PDFColorsTest::screenColorsInGroupsOfInkStay()
{
    PDFBuilder builder;
    const int form = builder.addStream("0.5 g 0 0 100 100 re f",
                                       "/Type /XObject /Subtype /Form /BBox [0 0 100 100] "
                                       "/Group << /S /Transparency /CS /DeviceCMYK /I true >>");
    SamplePage page;
    page.mediaBox = "[0 0 100 100]";
    page.entries = "/Group << /S /Transparency /CS /DeviceCMYK >>";
    page.contents = "/Half gs /Form Do";
    page.resources = "/XObject << /Form " + reference(form) + " >> /ExtGState << /Half << /ca 0.5 >> >>";
    builder.addPage(page);
    QVERIFY(isNear(drawnBy(builder.build()), {191, 191, 191}));
}

QTEST_GUILESS_MAIN(PDFColorsTest)
#include "PDFColorsTest.moc"
