#include "PelgraCore/PDFRendering.h"

#include "pages/OpenRenderer.h"
#include "Support/DrawnPages.h"
#include "Support/ImageSamples.h"
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
    void profilesDecide_data();
    void profilesDecide();
    void screenColorsInGroupsOfInkStay();
    void seesEveryColor_data();
    void seesEveryColor();
    void drawsInGrayWhatItDrawsWithoutColor();
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

void PDFColorsTest::profilesDecide_data()
{
    QTest::addColumn<QByteArray>("contents");
    QTest::addColumn<QList<int>>("wanted");
    const QList<int> wide{0, 179, 66}; // 0.2/0.7/0.3 of the wide space, as other readers draw it
    QTest::newRow("fill") << QByteArray("/Wide cs 0.2 0.7 0.3 sc 0 0 100 100 re f") << wide;
    QTest::newRow("neutral") << QByteArray("/Wide cs 0.5 0.5 0.5 sc 0 0 100 100 re f") << QList<int>{128, 128, 128};
    QTest::newRow("picture") << QByteArray("100 0 0 100 0 0 cm /Picture Do") << wide;
    QTest::newRow("half transparent") << QByteArray("100 0 0 100 0 0 cm /Masked Do") << QList<int>{127, 217, 160};
    QTest::newRow("palette") << QByteArray("100 0 0 100 0 0 cm /Palette Do") << wide;
    QTest::newRow("spot colour") << QByteArray("/Spot cs 1 scn 0 0 100 100 re f") << wide;
    QTest::newRow("gradient") << QByteArray("/Shade sh") << wide;
    QTest::newRow("group") << QByteArray("/Group Do") << QList<int>{51, 179, 77}; // of colours of the screen
    QTest::newRow("broken profile") << QByteArray("/Broken cs 0.2 0.7 0.3 sc 0 0 100 100 re f")
                                    << QList<int>{51, 179, 77};
}

void PDFColorsTest::profilesDecide()
{
    QFETCH(QByteArray, contents);
    QFETCH(QList<int>, wanted);
    PDFBuilder builder;
    const Bytes profile = wideRgbProfile();
    const std::string_view bytes(reinterpret_cast<const char*>(profile.data()), profile.size());
    const std::string wide = "[/ICCBased " + reference(builder.addStream(bytes, "/N 3")) + "]";
    const std::string broken =
        "[/ICCBased " + reference(builder.addStream(bytes.substr(0, profile.size() / 2), "/N 3")) + "]";
    const auto picture = [&](const std::string& pixel, const std::string& entries) {
        return reference(builder.addStream(
            pixel, "/Type /XObject /Subtype /Image /Width 1 /Height 1 /BitsPerComponent 8 " + entries));
    };
    const std::string pixel = "\x33\xB2\x4D";
    const std::string function = " << /FunctionType 2 /Domain [0 1] /N 1 /C0 [0.2 0.7 0.3] /C1 [0.2 0.7 0.3] >>";
    const std::string group = reference(builder.addStream(
        "0.2 0.7 0.3 rg 0 0 100 100 re f",
        "/Type /XObject /Subtype /Form /BBox [0 0 100 100] /Group << /S /Transparency /I true /CS " + wide + " >>"));
    SamplePage page;
    page.mediaBox = "[0 0 100 100]";
    page.contents = contents.toStdString();
    page.resources = "/ColorSpace << /Wide " + wide + " /Broken " + broken + " /Spot [/Separation /Some " + wide
        + function + "] >> /XObject << /Picture " + picture(pixel, "/ColorSpace " + wide) + " /Masked "
        + picture(pixel, "/ColorSpace " + wide + " /SMask " + picture("\x80", "/ColorSpace /DeviceGray")) + " /Palette "
        + picture("\x01", "/ColorSpace [/Indexed " + wide + " 1 <00000033B24D>]") + " /Group " + group
        + " >> /Shading << /Shade << /ShadingType 2 /Coords [0 0 100 0] /ColorSpace " + wide + " /Function" + function
        + " >> >>";
    builder.addPage(page);
    const DrawnColor shown = drawnBy(builder.build());
    QVERIFY2(isNear(shown, {wanted[0], wanted[1], wanted[2]}, 3),
             qPrintable(QString("%1 %2 %3").arg(shown[0]).arg(shown[1]).arg(shown[2])));
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

void PDFColorsTest::seesEveryColor_data()
{
    QTest::addColumn<QByteArray>("contents");
    QTest::addColumn<bool>("isColorless");
    QTest::newRow("nothing") << QByteArray() << true;
    QTest::newRow("grey") << QByteArray("0.3 g 0 0 9 9 re f") << true;
    QTest::newRow("black of the screen") << QByteArray("0 0 0 rg 0.5 0.5 0.5 RG 0 0 9 9 re B") << true;
    QTest::newRow("grey picture") << QByteArray("/Gray Do") << true;
    QTest::newRow("picture of white and black") << QByteArray("0 g /Stencil Do") << true;
    QTest::newRow("fill") << QByteArray("0.3 0.3 0.31 rg 0 0 9 9 re f") << false;
    QTest::newRow("stroke") << QByteArray("1 0 0 RG 0 0 9 9 re S") << false;
    QTest::newRow("text") << QByteArray("1 0 0 rg BT /F1 9 Tf (a) Tj ET") << false;
    QTest::newRow("ink") << QByteArray("0 0 0 1 k 0 0 9 9 re f") << false;
    QTest::newRow("picture") << QByteArray("/Color Do") << false;
    QTest::newRow("palette") << QByteArray("/Indexed Do") << false;
    QTest::newRow("stencil") << QByteArray("1 0 0 rg /Stencil Do") << false;
    QTest::newRow("inline picture") << QByteArray("BI /W 1 /H 1 /CS /RGB /BPC 8 ID \xFF\x01\x01 EI") << false;
    QTest::newRow("shading") << QByteArray("/Shade sh") << false;
    QTest::newRow("pattern") << QByteArray("/Pattern cs /Tiles scn 0 0 9 9 re f") << false;
    QTest::newRow("form") << QByteArray("/Form Do") << false;
}

void PDFColorsTest::seesEveryColor()
{
    QFETCH(QByteArray, contents);
    QFETCH(bool, isColorless);
    PDFBuilder builder;
    const auto picture = [&](const std::string& content, const std::string& entries) {
        return reference(builder.addStream(content, "/Type /XObject /Subtype /Image /Width 1 /Height 1 " + entries));
    };
    SamplePage page;
    page.contents = contents.toStdString();
    page.resources = "/XObject << /Gray " + picture("x", "/ColorSpace /DeviceGray /BitsPerComponent 8") + " /Color "
        + picture("xyz", "/ColorSpace /DeviceRGB /BitsPerComponent 8") + " /Indexed "
        + picture(std::string(1, '\0'), "/ColorSpace [/Indexed /DeviceRGB 0 <FF0000>] /BitsPerComponent 8")
        + " /Stencil " + picture("x", "/ImageMask true /BitsPerComponent 1") + " /Form "
        + reference(builder.addStream("0 0 1 rg 0 0 9 9 re f", "/Type /XObject /Subtype /Form /BBox [0 0 9 9]"))
        + " >> /Shading << /Shade << /ShadingType 2 /ColorSpace /DeviceRGB /Coords [0 0 9 9] /Function << "
          "/FunctionType 2 /Domain [0 1] /N 1 /C0 [1 1 1] /C1 [1 0 0] >> >> >> /Pattern << /Tiles "
        + reference(builder.addStream("1 0 0 rg 0 0 5 5 re f",
                                      "/Type /Pattern /PatternType 1 /PaintType 1 /TilingType 1 /BBox [0 0 9 9] "
                                      "/XStep 9 /YStep 9 /Resources << >>"))
        + " >>";
    builder.addPage(page);
    const auto renderer = openRenderer(m_folder.write("colors.pdf", builder.build()));
    QCOMPARE(renderer->isColorless(0, {}), isColorless);
    QVERIFY(!renderer->isColorless(1, {})); // no such page
}

void PDFColorsTest::drawsInGrayWhatItDrawsWithoutColor()
{
    SamplePage page;
    page.contents = filledRectangle(100, 100, 300, 500, 0.6, 0.6, 0.6) + textAt(80, 400, 60, "Without colour");
    const auto renderer = openRenderer(m_folder.write("gray.pdf", documentWith({page})));
    QVERIFY(renderer->isColorless(0, {}));
    const auto colored = renderer->render(0, 1);
    const PixelSize size{colored->width, colored->height, ColorModel::gray};
    PixelBuffer gray(size.byteCount());
    QVERIFY(renderer->drawRows(0, size, 0, gray, {}));
    for (std::size_t index = 0; index < gray.size(); ++index) {
        const int difference = std::to_integer<int>(gray[index]) - std::to_integer<int>(colored->pixels[index * 3]);
        QVERIFY(std::abs(difference) <= 1);
    }
}

QTEST_GUILESS_MAIN(PDFColorsTest)
#include "PDFColorsTest.moc"
