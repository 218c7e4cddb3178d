#include "PelgraCore/EngineError.h"
#include "PelgraCore/ImageLoading.h"
#include "Support/ImageSamples.h"

#include <QTest>

#include <string>

using namespace Pelgra;

namespace {

const std::string opening = "<svg xmlns='http://www.w3.org/2000/svg' xmlns:xlink='http://www.w3.org/1999/xlink' ";

LoadedImage loadDrawing(const std::string& attributes, const std::string& content)
{
    TemporaryFolder folder;
    return ImageLoader::load(folder.write("a.svg", opening + attributes + ">" + content + "</svg>"));
}

bool isUnreadable(std::string_view text)
{
    TemporaryFolder folder;
    const std::filesystem::path file = folder.write("a.svg", text);
    try {
        ImageLoader::load(file);
        return false;
    } catch (const EngineError& error) {
        return error == EngineError::unreadable(file);
    }
}

} // namespace

class SvgLoadingTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void isTwiceItsNominalSize_data()
    {
        QTest::addColumn<QString>("attributes");
        QTest::addColumn<QSize>("size");
        QTest::newRow("pixels") << "width='100' height='50'" << QSize(200, 100);
        QTest::newRow("millimetres") << "width='25.4mm' height='12.7mm'" << QSize(192, 96);
        QTest::newRow("halves away from zero") << "width='10.25' height='10.2'" << QSize(21, 20);
        QTest::newRow("no size") << "" << QSize(1024, 1024);
        QTest::newRow("no extent") << "width='0' height='40'" << QSize(1024, 1024);
        QTest::newRow("viewBox alone") << "viewBox='0 0 300 150'" << QSize(600, 300);
        QTest::newRow("percentages") << "width='100%' height='100%' viewBox='0 0 30 15'" << QSize(60, 30);
        QTest::newRow("width and viewBox") << "width='100' viewBox='0 0 30 15'" << QSize(200, 100);
    }

    void isTwiceItsNominalSize()
    {
        QFETCH(QString, attributes);
        QFETCH(QSize, size);
        const LoadedImage loaded = loadDrawing(attributes.toStdString(), "");
        QCOMPARE(QSize(loaded.image->width, loaded.image->height), size);
        QCOMPARE(loaded.dpiWidth, 144.0);
        QCOMPARE(loaded.dpiHeight, 144.0);
        QVERIFY(loaded.metadata.isEmpty());
    }

    void contentGrowsWithTheCanvasAndAlphaIsStraight()
    {
        const LoadedImage loaded =
            loadDrawing("width='20' height='20'", "<rect width='10' height='10' fill='#c86432' fill-opacity='0.5'/>");
        const std::vector<int> inside = componentsAt(*loaded.image, 18, 18);
        QVERIFY(largestDifference(inside, {200, 100, 50, 128}) <= 2);
        QCOMPARE(componentsAt(*loaded.image, 21, 21), (std::vector<int>{0, 0, 0, 0}));
    }

    void loadsNothingFromOutside()
    {
        TemporaryFolder folder;
        const std::filesystem::path picture = write(folder, "outside.png", pngSample(testPicture(8, 8)));
        for (const std::string& reference : {std::string("outside.png"), "file://" + picture.string()}) {
            const std::filesystem::path drawing = folder.write(
                "a.svg",
                opening + "width='8' height='8'><image width='8' height='8' xlink:href='" + reference + "'/></svg>");
            QCOMPARE(componentsAt(*ImageLoader::load(drawing).image, 4, 4), (std::vector<int>{0, 0, 0, 0}));
        }
    }

    void refusesWhatWouldNotEnd()
    {
        QVERIFY(isUnreadable("<svg xmlns='http://www.w3.org/2000/svg' width='40000' height='40000'/>"));
        QVERIFY(isUnreadable("no drawing"));
        // Each group asks for a layer of the whole canvas.
        std::string layers = opening + "width='4000' height='4000'>";
        for (int depth = 0; depth < 100; ++depth)
            layers += "<g opacity='0.5'>";
        layers += "<rect width='4000' height='4000'/>";
        for (int depth = 0; depth < 100; ++depth)
            layers += "</g>";
        QVERIFY(isUnreadable(layers + "</svg>"));
        std::string entities = "<!DOCTYPE svg [<!ENTITY a0 'aaaaaaaaaaaaaaaaaaaa'>";
        for (int level = 1; level < 12; ++level) {
            const std::string inner = "&a" + std::to_string(level - 1) + ";";
            entities += "<!ENTITY a" + std::to_string(level) + " '";
            for (int copy = 0; copy < 12; ++copy)
                entities += inner;
            entities += "'>";
        }
        QVERIFY(isUnreadable(entities + "]>" + opening + "><text>&a11;</text></svg>"));
    }
};

QTEST_GUILESS_MAIN(SvgLoadingTest)
#include "SvgLoadingTest.moc"
