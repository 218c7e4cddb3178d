#include "Platform/ShapePixels.h"

#include <QImage>
#include <QPainter>
#include <QPainterPath>
#include <QTest>

#include <cmath>

using namespace Pelgra;

class ShapePixelsTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void anEdgeIsAsFineAsTheScreen_data()
    {
        QTest::addColumn<double>("ratio");
        for (const double ratio : {1.0, 1.5, 2.0})
            QTest::addRow("at %.1f", ratio) << ratio;
    }
    void anEdgeIsAsFineAsTheScreen()
    {
        QFETCH(double, ratio);
        constexpr double radius = 143;
        const QPointF centre(150, 150);
        QPainterPath ring;
        ring.addEllipse(centre, radius, radius);
        ring.addEllipse(centre, 45, 45);
        QImage pixels((QSizeF(300, 300) * ratio).toSize(), QImage::Format_Grayscale8);
        pixels.fill(Qt::black);
        QPainter painter(&pixels);
        painter.setClipRegion(pixelsOf(ring, QSize(300, 300), ratio));
        painter.fillRect(pixels.rect(), Qt::white);
        painter.end();
        int inside = 0;
        for (int y = 0; y < 300 * ratio; ++y) {
            for (int x = 0; x < 300 * ratio; ++x) {
                const double distance = std::hypot(x + 0.5 - 150 * ratio, y + 0.5 - 150 * ratio);
                const bool isInside = distance < radius * ratio && distance > 45 * ratio;
                const double toEdge = std::min(std::abs(distance - radius * ratio), std::abs(distance - 45 * ratio));
                if (toEdge > 0.1) // nearer, the renderer's own rounding decides
                    QVERIFY2((qGray(pixels.pixel(x, y)) > 0) == isInside, qPrintable(QString("%1, %2").arg(x).arg(y)));
                inside += isInside;
            }
        }
        QVERIFY(inside > 50000 * ratio * ratio);
    }

    void whatLiesOutsideTheWindowIsNoError()
    {
        QPainterPath path;
        QVERIFY(pixelsOf(path, QSize(40, 40), 2).isEmpty());
        path.addRect(-20, -20, 30, 30);
        QCOMPARE(pixelsOf(path, QSize(40, 40), 1), QRegion(0, 0, 10, 10));
    }

    void aWindowOfHalfAPixelMoreIsCoveredToItsEdge()
    {
        QPainterPath whole;
        whole.addRect(0, 0, 33, 11);
        QCOMPARE(pixelsOf(whole, QSize(33, 11), 1.5), QRegion(0, 0, 50, 17));
    }
};

QTEST_MAIN(ShapePixelsTest)
#include "ShapePixelsTest.moc"
