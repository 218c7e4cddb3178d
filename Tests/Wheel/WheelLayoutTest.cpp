#include "Wheel/WheelLayout.h"

#include <QPointF>
#include <QRect>
#include <QSize>
#include <QTest>

#include <cmath>

using namespace Pelgra;

namespace {

double distanceFromCenter(QPointF point)
{
    return std::hypot(point.x(), point.y());
}

/// The anchor points of a path, without the control points of its curves.
std::vector<QPointF> anchors(const QPainterPath& path)
{
    std::vector<QPointF> points;
    for (int i = 0; i < path.elementCount(); ++i) {
        const QPainterPath::Element& element = path.elementAt(i);
        if (element.type == QPainterPath::CurveToElement)
            points.push_back(path.elementAt(i += 2));
        else
            points.push_back(element);
    }
    return points;
}

bool hasAnchor(const QPainterPath& path, QPointF wanted)
{
    for (QPointF point : anchors(path)) {
        if (distanceFromCenter(point - wanted) < 0.001)
            return true;
    }
    return false;
}

QPointF polar(double radius, double angle)
{
    return {radius * std::cos(angle), radius * std::sin(angle)};
}

} // namespace

class WheelLayoutTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void roundsTheCornersAtTheExpectedTangentPoints_data()
    {
        QTest::addColumn<int>("petalCount");
        QTest::addColumn<double>("outerOffset");
        QTest::addColumn<double>("innerOffset");
        QTest::addColumn<double>("outerEdge");
        QTest::addColumn<double>("innerEdge");
        QTest::newRow("six petals") << 6 << 0.113144 << 0.220533 << 123.2071 << 62.4500;
        QTest::newRow("eight petals") << 8 << 0.095383 << 0.194778 << 125.4273 << 60.8276;
    }
    void roundsTheCornersAtTheExpectedTangentPoints()
    {
        QFETCH(int, petalCount);
        QFETCH(double, outerOffset);
        QFETCH(double, innerOffset);
        QFETCH(double, outerEdge);
        QFETCH(double, innerEdge);
        const WheelLayout layout = WheelLayout::forPetalCount(petalCount);
        for (int petal = 0; petal < petalCount; ++petal) {
            const QPainterPath path = layout.pathForPetal(petal);
            const double a0 = M_PI / 2 - (petal + 0.5) * 2 * M_PI / petalCount;
            const double a1 = a0 + 2 * M_PI / petalCount;
            QVERIFY(hasAnchor(path, polar(136, a0 + outerOffset)));
            QVERIFY(hasAnchor(path, polar(136, a1 - outerOffset)));
            QVERIFY(hasAnchor(path, polar(52, a0 + innerOffset)));
            QVERIFY(hasAnchor(path, polar(52, a1 - innerOffset)));
            // The straight sides run half a gap inside the sector.
            QVERIFY(hasAnchor(path, polar(outerEdge, a0) + polar(2, a0 + M_PI / 2)));
            QVERIFY(hasAnchor(path, polar(innerEdge, a0) + polar(2, a0 + M_PI / 2)));
            QVERIFY(hasAnchor(path, polar(outerEdge, a1) + polar(2, a1 - M_PI / 2)));
            QVERIFY(hasAnchor(path, polar(innerEdge, a1) + polar(2, a1 - M_PI / 2)));
        }
    }

    void petalsLieInTheirSectorsAndNowhereElse_data()
    {
        QTest::addColumn<int>("petalCount");
        for (int count : {2, 3, 4, 5, 6, 7, 12})
            QTest::addRow("%d petals", count) << count;
    }
    void petalsLieInTheirSectorsAndNowhereElse()
    {
        QFETCH(int, petalCount);
        const WheelLayout layout = WheelLayout::forPetalCount(petalCount);
        std::vector<QPainterPath> paths;
        for (int petal = 0; petal < petalCount; ++petal)
            paths.push_back(layout.pathForPetal(petal));
        int covered = 0;
        for (double x = -150; x <= 150; x += 7.3) {
            for (double y = -150; y <= 150; y += 7.3) {
                const std::optional<int> hit = layout.petalIndexAt({x, y});
                for (int petal = 0; petal < petalCount; ++petal) {
                    if (paths[static_cast<std::size_t>(petal)].contains(QPointF(x, y))) {
                        QCOMPARE(hit, std::optional<int>(petal));
                        ++covered;
                    }
                }
            }
        }
        // Gaps and corners take a few per cent of the ring, the more petals the more.
        const double ring = M_PI * (136 * 136 - 52 * 52) / (7.3 * 7.3);
        QVERIFY2(covered > ring * (1 - 0.02 * petalCount) && covered < ring, qPrintable(QString::number(covered)));
    }

    void findsThePetalUnderAPoint_data()
    {
        QTest::addColumn<int>("petalCount");
        QTest::addColumn<QPointF>("point");
        QTest::addColumn<int>("petal"); // -1 for none
        const double diagonal = 100 / std::sqrt(2.0);
        QTest::newRow("no petals") << 0 << QPointF(0, 100) << -1;
        QTest::newRow("top of four") << 4 << QPointF(0, 100) << 0;
        QTest::newRow("right of four") << 4 << QPointF(100, 0) << 1;
        QTest::newRow("bottom of four") << 4 << QPointF(0, -100) << 2;
        QTest::newRow("left of four") << 4 << QPointF(-100, 0) << 3;
        QTest::newRow("boundary belongs to the clockwise petal") << 4 << QPointF(diagonal, diagonal) << 1;
        QTest::newRow("just before the boundary") << 4 << QPointF(diagonal - 0.01, diagonal + 0.01) << 0;
        QTest::newRow("last wraps to the first") << 4 << QPointF(-diagonal + 0.01, diagonal + 0.01) << 0;
        QTest::newRow("inside the hole") << 4 << QPointF(0, 51.9) << -1;
        QTest::newRow("inner edge") << 4 << QPointF(0, 52) << 0;
        QTest::newRow("outer edge") << 4 << QPointF(0, 136) << 0;
        QTest::newRow("outside") << 4 << QPointF(0, 136.1) << -1;
        QTest::newRow("rounded corner counts") << 6 << polar(135.9, M_PI / 3 + 0.01) << 0;
        QTest::newRow("single petal, bottom") << 1 << QPointF(0, -60) << 0;
        QTest::newRow("single petal, left") << 1 << QPointF(-60, 0) << 0;
        QTest::newRow("single petal, hole") << 1 << QPointF(0, -10) << -1;
        QTest::newRow("not a number") << 4 << QPointF(qQNaN(), 0) << -1;
    }
    void findsThePetalUnderAPoint()
    {
        QFETCH(int, petalCount);
        QFETCH(QPointF, point);
        QFETCH(int, petal);
        QCOMPARE(WheelLayout::forPetalCount(petalCount).petalIndexAt(point).value_or(-1), petal);
    }

    void onePetalIsTheWholeRing()
    {
        const QPainterPath path = WheelLayout::forPetalCount(1).pathForPetal(0);
        QVERIFY(path.contains(QPointF(0, -100)));
        QVERIFY(path.contains(QPointF(-60, 60)));
        QVERIFY(!path.contains(QPointF(0, 0)));
        QVERIFY(!path.contains(QPointF(0, 137)));
        QVERIFY(WheelLayout::forPetalCount(0).pathForPetal(0).isEmpty());
    }

    void oddGeometryStaysFinite()
    {
        WheelLayout thin = WheelLayout::forPetalCount(5);
        thin.innerRadius = 130;
        // Corners of radius (136 - 130) / 2 - 0.5 = 2.5: the inner ones touch a circle of 132.5 around the centre.
        const double inner = std::asin(4.5 / 132.5);
        QVERIFY(hasAnchor(thin.pathForPetal(0), polar(130, M_PI / 2 - M_PI / 5 + inner)));

        WheelLayout wideGap = WheelLayout::forPetalCount(3);
        wideGap.gap = 500;
        for (QPointF point : anchors(wideGap.pathForPetal(1)))
            QVERIFY(std::isfinite(point.x()) && std::isfinite(point.y()));

        WheelLayout filled = WheelLayout::forPetalCount(3);
        QVERIFY(!filled.ringPath().contains(QPointF(0, 0)));
        filled.innerRadius = filled.ringPadding;
        QVERIFY(filled.ringPath().contains(QPointF(0, 0)));
    }

    void labelsMoveOutwardsOnADenseWheel()
    {
        QCOMPARE(WheelLayout::forPetalCount(6).labelPoint(0), QPointF(0, 96));
        const QPointF dense = WheelLayout::forPetalCount(7).labelPoint(0);
        QVERIFY(std::abs(dense.y() - 98) < 1e-9);
    }

    void viewAndWheelCoordinatesAreInverse()
    {
        const QRectF bounds(0, 0, 300, 300);
        QCOMPARE(wheelPointAt(QPointF(150, 50), bounds), QPointF(0, 100));
        QCOMPARE(wheelToView(bounds).map(QPointF(0, 100)), QPointF(150, 50));
        QCOMPARE(wheelToView(bounds).map(wheelPointAt(QPointF(12, 34), bounds)), QPointF(12, 34));
    }

    void keepsThePanelOnItsScreen_data()
    {
        QTest::addColumn<QPoint>("pointer");
        QTest::addColumn<QPoint>("origin");
        QTest::newRow("middle") << QPoint(1500, 400) << QPoint(1350, 250);
        QTest::newRow("left edge") << QPoint(1000, 400) << QPoint(1000, 250);
        QTest::newRow("last corner") << QPoint(1999, 799) << QPoint(1700, 500);
    }
    void keepsThePanelOnItsScreen()
    {
        QFETCH(QPoint, pointer);
        QFETCH(QPoint, origin);
        QCOMPARE(panelOriginFor(pointer, QSize(300, 300), QRect(1000, 0, 1000, 800)), origin);
    }
};

QTEST_GUILESS_MAIN(WheelLayoutTest)
#include "WheelLayoutTest.moc"
