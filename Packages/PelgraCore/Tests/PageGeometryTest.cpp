#include "modules/PageGeometry.h"

#include <QTest>

#include <limits>

using namespace Pelgra;

class PageGeometryTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void rotationSnapsToTheNearestQuarterTurn_data()
    {
        QTest::addColumn<qlonglong>("degrees");
        QTest::addColumn<int>("snapped");
        const std::pair<qlonglong, int> rows[] = {{0, 0},   {44, 0},  {45, 90}, {46, 90}, {-90, 270}, {450, 90},
                                                  {315, 0}, {359, 0}, {-1, 0},  {-45, 0}, {-46, 270}};
        for (const auto& [degrees, snapped] : rows)
            QTest::addRow("%lld", degrees) << degrees << snapped;
        QTest::addRow("smallest") << std::numeric_limits<qlonglong>::min() << 0;
    }

    void rotationSnapsToTheNearestQuarterTurn()
    {
        QFETCH(qlonglong, degrees);
        QTEST(snappedRotation(degrees), "snapped");
    }

    void theVisibleBoxLiesInsideTheMediaBox()
    {
        const PageBox media{0, 0, 100, 200};
        QVERIFY(visibleBox(media, {}) == media);
        QVERIFY(visibleBox(media, standardised({90, 150, 10, 20})) == (PageBox{10, 20, 90, 150}));
        QVERIFY(visibleBox(media, PageBox{-50, 50, 60, 900}) == (PageBox{0, 50, 60, 200}));
        QVERIFY2(visibleBox(media, PageBox{300, 300, 400, 400}) == media, "disjoint");
        QVERIFY2(visibleBox(media, PageBox{10, 10, 10, 90}) == media, "no width");
        const double notANumber = std::numeric_limits<double>::quiet_NaN();
        QVERIFY(visibleBox(media, PageBox{notANumber, notANumber, notANumber, notANumber}) == media);
    }

    void aPageWithoutABoxIsALetter()
    {
        QCOMPARE(visibleBox({}, {}).height(), 792.0);
        QCOMPARE(visibleBox(PageBox{}, PageBox{}).width(), 612.0);
        QCOMPARE(turnedSize(visibleBox({}, {}), 270).width, 792.0);
    }
};

QTEST_GUILESS_MAIN(PageGeometryTest)
#include "PageGeometryTest.moc"
