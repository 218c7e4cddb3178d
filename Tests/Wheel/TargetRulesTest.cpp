#include "Wheel/TargetRules.h"

#include <QTest>

using namespace Pelgra;
using Kinds = std::vector<WheelKind>;

namespace {

const QRect screen(1000, 30, 800, 570); // beside another one, below a panel
const QSize two = TargetRules::sizeOf(2, false);

} // namespace

class TargetRulesTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void offersOnlyWheelsThatHavePetals()
    {
        using Files = std::vector<std::filesystem::path>;
        QCOMPARE(TargetRules::kindsFor(Files{"a.jpg"}), Kinds{WheelKind::convert});
        QCOMPARE(TargetRules::kindsFor(Files{"a.jpg", "b.png"}), (Kinds{WheelKind::convert, WheelKind::tools}));
        QCOMPARE(TargetRules::kindsFor(Files{"a.pdf"}), (Kinds{WheelKind::convert, WheelKind::tools}));
        QCOMPARE(TargetRules::kindsFor(Files{"a.txt"}), Kinds());
        QCOMPARE(TargetRules::kindsFor(Files{"a.jpg", "b.txt"}), Kinds());
    }

    void goesBesideThePointerInsideTheScreen_data()
    {
        QTest::addColumn<QPoint>("pointer");
        QTest::addColumn<QPoint>("corner");
        QTest::newRow("free: above, in the middle") << QPoint(1400, 300) << QPoint(1324, 184);
        QTest::newRow("top edge: below") << QPoint(1400, 110) << QPoint(1324, 150);
        QTest::newRow("on the panel above the area: below") << QPoint(1400, 10) << QPoint(1324, 127);
        QTest::newRow("top left corner") << QPoint(1000, 30) << QPoint(1097, 127);
        QTest::newRow("top right corner") << QPoint(1799, 30) << QPoint(1551, 127);
        QTest::newRow("bottom left corner") << QPoint(1000, 599) << QPoint(1097, 427);
        QTest::newRow("bottom right corner") << QPoint(1799, 599) << QPoint(1551, 427);
    }
    void goesBesideThePointerInsideTheScreen()
    {
        QFETCH(QPoint, pointer);
        QTEST(TargetRules::besidePointer(pointer, two, screen)->topLeft(), "corner");
    }

    void isNeverUnderThePointerNorPartlyOutside()
    {
        for (const QRect& area : {screen, QRect(0, 0, 400, 300), QRect(0, 0, 900, 280), QRect(0, 0, 300, 800)}) {
            int shown = 0;
            for (int y = area.top(); y <= area.bottom(); y += 3) {
                for (int x = area.left(); x <= area.right(); x += 3) {
                    const std::optional<QRect> place = TargetRules::besidePointer({x, y}, two, area);
                    if (!place)
                        continue;
                    ++shown;
                    QVERIFY(area.contains(*place));
                    QVERIFY(!place->adjusted(-30, -30, 30, 30).contains(x, y));
                    QVERIFY(!TargetRules::isWellAway({x, y}, *place));
                }
            }
            QCOMPARE(shown > 0, area.width() > 300); // the last one is too small for any
        }
    }

    void leavesADragThatGoesElsewhere()
    {
        const QRect targets(500, 300, 152, 76);
        QVERIFY(!TargetRules::isWellAway(targets.center(), targets));
        QVERIFY(!TargetRules::isWellAway({500 - 240, 310}, targets));
        QVERIFY(TargetRules::isWellAway({500 - 241, 310}, targets));
        QVERIFY(!TargetRules::isWellAway({575, 375 + 240}, targets));
        QVERIFY(TargetRules::isWellAway({651 + 180, 375 + 180}, targets)); // as the crow flies
    }
};

QTEST_GUILESS_MAIN(TargetRulesTest)

#include "TargetRulesTest.moc"
