#include "PelgraCore/PDFRendering.h"

#include "pages/OpenRenderer.h"
#include "Support/DrawnPages.h"
#include "Support/PDFSamples.h"
#include "Support/TemporaryFolder.h"

#include <QProcess>
#include <QStandardPaths>
#include <QTest>

#include <cmath>
#include <cstring>
#include <limits>

using namespace Pelgra;

class PDFRenderingTest : public QObject {
    Q_OBJECT

    TemporaryFolder m_folder;

    std::unique_ptr<PDFDocument> open(const std::string& content)
    {
        return PDFRender::open(m_folder.write("document.pdf", content));
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
    void evaluatesLayerExpressions_data();
    void evaluatesLayerExpressions();
    void drawsBandsLikeTheWholePage();
    void enlargesPicturesSmoothly_data();
    void enlargesPicturesSmoothly();
    void paintsPicturesAsTheLibraryDoes_data();
    void paintsPicturesAsTheLibraryDoes();
    void capsTheLongerSide();
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
            const DrawnColor color = pixelAt(*image, x, y);
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
    const std::string unsignedField = "<< /Type /Annot /Subtype /Widget /FT /Sig /T (seal) /F 4 ";
    const int bare = builder.add(unsignedField + "/Rect [0 100 100 200] >>");
    const int drawn =
        builder.add(unsignedField + "/Rect [150 150 200 200] /AP << /N " + reference(appearance) + " >> >>");
    const int layer = builder.add("<< /Type /OCG /Name (hidden) >>");
    builder.addToCatalog("/OCProperties << /OCGs [" + reference(layer) + "] /D << /OFF [" + reference(layer)
                         + "] >> >> /AcroForm << /Fields [" + reference(field) + " " + reference(bare) + "] >>");
    SamplePage page;
    page.mediaBox = "[0 0 200 200]";
    page.contents = "/OC /Hidden BDC " + filledRectangle(0, 100, 100, 100, 1, 0, 0) + "EMC "
        + filledRectangle(100, 100, 100, 100, 0, 0, 1);
    page.resources = "/Properties << /Hidden " + reference(layer) + " >>";
    page.entries = "/Annots [" + reference(annotation) + " " + reference(field) + " " + reference(bare) + " "
        + reference(drawn) + "]";
    builder.addPage(page);
    const auto image = open(builder.build())->render(0, 1);
    QVERIFY(image);
    QVERIFY(isNear(pixelAt(*image, 50, 150), green)); // the stamp
    QVERIFY(isNear(pixelAt(*image, 150, 150), green)); // the form field
    for (int x = 2; x < 98; ++x)
        for (int y = 2; y < 98; ++y)
            QVERIFY(isNear(pixelAt(*image, x, y), white)); // the hidden layer, and a field that nobody has signed
    QVERIFY(isNear(pixelAt(*image, 175, 25), green)); // such a field with an appearance of its own
    QVERIFY(isNear(pixelAt(*image, 120, 80), blue));
}

void PDFRenderingTest::evaluatesLayerExpressions_data()
{
    QTest::addColumn<QString>("expression"); // of the layers S, shown, and H, hidden, and of C, which holds itself
    QTest::addColumn<bool>("isShown");
    QTest::newRow("and") << "/And S H" << false;
    QTest::newRow("and of shown ones") << "/And S S" << true;
    QTest::newRow("or") << "/Or H S" << true;
    QTest::newRow("or of hidden ones") << "/Or H H" << false;
    QTest::newRow("not") << "/Not S" << false;
    QTest::newRow("not hidden") << "/Not H" << true;
    QTest::newRow("nested") << "/And S [/Not [/Or H [/And S H]]]" << true;
    QTest::newRow("unknown operator") << "/Xor S S" << true;
    QTest::newRow("nothing to negate") << "/Not" << true;
    QTest::newRow("a circle") << "/And S C" << true;
}

void PDFRenderingTest::evaluatesLayerExpressions()
{
    QFETCH(QString, expression);
    QFETCH(bool, isShown);
    PDFBuilder builder;
    const QString shown = QString::fromStdString(reference(builder.add("<< /Type /OCG /Name (shown) >>")));
    const QString hidden = QString::fromStdString(reference(builder.add("<< /Type /OCG /Name (hidden) >>")));
    builder.addToCatalog(
        QString("/OCProperties << /OCGs [%1 %2] /D << /OFF [%2] >> >>").arg(shown, hidden).toStdString());
    const int circle = builder.reserve();
    builder.set(circle, "[/And " + reference(circle) + "]");
    expression.replace("S", shown).replace("H", hidden).replace("C", QString::fromStdString(reference(circle)));
    SamplePage page;
    page.contents = "/OC /Part BDC " + filledRectangle(0, 0, 612, 792, 1, 0, 0) + "EMC";
    page.resources = "/Properties << /Part << /Type /OCMD /VE [" + expression.toStdString() + "] >> >>";
    builder.addPage(page);
    const auto image = open(builder.build())->render(0, 0.1);
    QVERIFY(image);
    QVERIFY(isNear(pixelAt(*image, 30, 30), isShown ? red : white));
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

void PDFRenderingTest::enlargesPicturesSmoothly_data()
{
    QTest::addColumn<int>("components"); // of the picture
    QTest::addColumn<int>("rotation");
    for (const int components : {1, 3}) {
        for (const int rotation : {0, 90, 180, 270})
            QTest::addRow("%d, turned by %d", components, rotation) << components << rotation;
    }
}

/// A picture of 4 x 3 pixels fills a page of 7 x 5. Each pixel is compared with what lies between the centres of the
/// picture's own.
void PDFRenderingTest::enlargesPicturesSmoothly()
{
    QFETCH(int, components);
    QFETCH(int, rotation);
    constexpr int columns = 4, rows = 3, width = 7, height = 5;
    std::string samples;
    for (int index = 0; index < columns * rows * components; ++index)
        samples += static_cast<char>(index * 97 % 251);
    PDFBuilder builder;
    const int picture = builder.addStream(samples,
                                          "/Subtype /Image /Width 4 /Height 3 /BitsPerComponent 8 /ColorSpace /Device"
                                              + std::string(components == 1 ? "Gray" : "RGB"));
    SamplePage page;
    page.mediaBox = "[0 0 7 5]";
    page.contents = "7 0 0 5 0 0 cm /Picture Do";
    page.entries = "/Rotate " + std::to_string(rotation);
    page.resources = "/XObject << /Picture " + reference(picture) + " >>";
    builder.addPage(page);
    const auto image = open(builder.build())->render(0, 1);
    QVERIFY(image);
    const auto sample = [&](double across, double down, int component) {
        const auto at = [&](int column, int row) {
            const int place = std::clamp(row, 0, rows - 1) * columns + std::clamp(column, 0, columns - 1);
            return static_cast<double>(
                static_cast<unsigned char>(samples[static_cast<std::size_t>(place * components + component)]));
        };
        const int left = static_cast<int>(std::floor(across)), top = static_cast<int>(std::floor(down));
        return std::lerp(std::lerp(at(left, top), at(left + 1, top), across - left),
                         std::lerp(at(left, top + 1), at(left + 1, top + 1), across - left), down - top);
    };
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const int shownX = rotation == 0 ? x
                : rotation == 90             ? height - 1 - y
                : rotation == 180            ? width - 1 - x
                                             : y;
            const int shownY = rotation == 0 ? y
                : rotation == 90             ? x
                : rotation == 180            ? height - 1 - y
                                             : width - 1 - x;
            for (int component = 0; component < 3; ++component) {
                const double expected = sample((x + 0.5) * columns / width - 0.5, (y + 0.5) * rows / height - 0.5,
                                               components == 1 ? 0 : component);
                const auto pixel = image->row(shownY).subspan(static_cast<std::size_t>(shownX) * 3);
                const int drawn = std::to_integer<int>(pixel[static_cast<std::size_t>(component)]);
                QVERIFY2(std::abs(drawn - expected) <= 2, qPrintable(QString("%1 %2").arg(x).arg(y)));
            }
        }
    }
}

void PDFRenderingTest::paintsPicturesAsTheLibraryDoes_data()
{
    QTest::addColumn<int>("components");
    QTest::addColumn<QString>("placing");
    for (const int components : {1, 3}) {
        QTest::addRow("%d, upright", components) << components << "173.3 0 0 211.7 10.4 -20.6 cm";
        QTest::addRow("%d, mirrored", components) << components << "-173.3 0 0 211.7 190 5 cm";
        QTest::addRow("%d, by a quarter", components) << components << "0 173.3 -211.7 0 205.2 7.5 cm";
        QTest::addRow("%d, by three quarters", components) << components << "0 -173.3 211.7 0 0.3 199.9 cm";
        QTest::addRow("%d, aslant", components) << components << "120 60 -60 120 70 10 cm";
    }
}

/// The library's own program draws with the plain library, without what the module puts before its functions.
void PDFRenderingTest::paintsPicturesAsTheLibraryDoes()
{
    QFETCH(int, components);
    QFETCH(QString, placing);
    const QString program = QStandardPaths::findExecutable("mutool");
    if (program.isEmpty())
        QSKIP("mutool is not installed; see packages/test.txt");
    constexpr int columns = 67, rows = 43;
    std::string samples;
    for (int index = 0; index < columns * rows * components; ++index)
        samples += static_cast<char>(index * index % 251);
    PDFBuilder builder;
    const int picture = builder.addStream(
        samples,
        "/Subtype /Image /Width 67 /Height 43 /BitsPerComponent 8 /Interpolate true /ColorSpace /Device"
            + std::string(components == 1 ? "Gray" : "RGB"));
    SamplePage page;
    page.mediaBox = "[0 0 200 200]";
    page.contents = placing.toStdString() + " /Picture Do";
    page.resources = "/XObject << /Picture " + reference(picture) + " >>";
    builder.addPage(page);
    const auto image = open(builder.build())->render(0, 1);
    QVERIFY(image);

    QProcess mutool;
    mutool.start(program,
                 {"draw", "-q", "-r", "72", "-c", "rgb", "-F", "pnm", "-o", "-",
                  QString::fromStdString((m_folder / "document.pdf").string()), "1"});
    QVERIFY(mutool.waitForFinished());
    const QByteArray drawn = mutool.readAllStandardOutput();
    const QByteArray header = "P6\n200 200\n255\n";
    QCOMPARE(drawn.left(header.size()), header);
    QCOMPARE(drawn.size() - header.size(), qsizetype(image->pixels.size()));
    QVERIFY(std::memcmp(drawn.constData() + header.size(), image->pixels.data(), image->pixels.size()) == 0);
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

QTEST_GUILESS_MAIN(PDFRenderingTest)
#include "PDFRenderingTest.moc"
