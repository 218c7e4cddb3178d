#include "Platform/Sampling/DiscoveringDragSource.h"

#include "Drag/DragMonitor.h"
#include "FakeDragSource.h"
#include "Platform/Sampling/CompositeDragSource.h"

#include <QTest>

using namespace Pelgra;
using namespace std::chrono_literals;
using Files = std::vector<std::filesystem::path>;

namespace {

class FakeCatcher final : public DragCatcher {
public:
    void spread() override { isSpread = true; }
    void fold() override { isSpread = false; }
    bool isSpread = false;
};

/// A desktop on which a monitor runs as in the application. Its timer plays no part: no event loop turns.
struct Desktop {
    FakeDragSource watched;
    FakeCatcher catcher;
    DragDiscovery::Time now = 1s;
    DiscoveringDragSource source{watched, catcher, [this] {
                                     return now;
                                 }};
    DragMonitor monitor{source};
    QString told;

    Desktop()
    {
        QObject::connect(&monitor, &DragMonitor::happened, &monitor, [this](const DragEvent& event) {
            const QPoint place = source.pointer().value_or(QPoint(-1, -1));
            if (const auto* started = std::get_if<SessionStarted>(&event))
                told += QString("started %1 at %2,%3;").arg(started->files.size()).arg(place.x()).arg(place.y());
            else if (const auto* tapped = std::get_if<KeyTapped>(&event))
                told += tapped->kind == WheelKind::convert ? "convert;" : "tools;";
            else
                told += "ended;";
        });
        monitor.start();
    }

    void beginDrag()
    {
        ++watched.count;
        watched.onNews();
    }

    void press(ModifierFlags flags)
    {
        watched.flags = flags;
        watched.onNews();
    }

    void tap(ModifierFlags flags)
    {
        press(flags);
        press(0);
    }
};

} // namespace

class DiscoveringDragSourceTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void aTapFindsTheDragAndOpensTheWheelAtOnce()
    {
        Desktop desktop;
        QCOMPARE(desktop.watched.tapFlags & relevantModifierFlags, shiftFlag | commandFlag);
        desktop.beginDrag();
        desktop.tap(controlFlag); // a copy, no wheel
        QVERIFY(!desktop.catcher.isSpread);
        desktop.tap(shiftFlag);
        QVERIFY(desktop.catcher.isSpread);
        QCOMPARE(desktop.told, QString());
        desktop.catcher.onEntered({"/a.png", "/b.png"}, QPoint(40, 50));
        QCOMPARE(desktop.told, QString("started 2 at 40,50;convert;"));

        desktop.tap(commandFlag);
        QCOMPARE(desktop.told, QString("started 2 at 40,50;convert;tools;"));
        desktop.catcher.onMoved(QPoint(60, 70));
        desktop.catcher.onDropped();
        QVERIFY(desktop.told.endsWith("tools;ended;"));
        QVERIFY(!desktop.catcher.isSpread);
        QCOMPARE(desktop.source.pointer(), std::optional(QPoint(60, 70))); // where the answer is to be shown
    }

    void aKeyThatIsStillHeldTapsOnce()
    {
        Desktop desktop;
        desktop.beginDrag();
        desktop.press(shiftFlag);
        desktop.catcher.onEntered({"/a.png"}, QPoint(1, 1));
        desktop.watched.onNews();
        desktop.watched.onNews();
        desktop.press(shiftFlag | commandFlag);
        desktop.press(shiftFlag);
        QCOMPARE(desktop.told, QString("started 1 at 1,1;convert;tools;"));
    }

    void givesTheDesktopBackWhenNothingComes()
    {
        Desktop desktop;
        desktop.beginDrag();
        desktop.tap(shiftFlag);
        desktop.now += DragDiscovery::patience;
        desktop.watched.onNews();
        QVERIFY(!desktop.catcher.isSpread);
        desktop.tap(shiftFlag);
        QVERIFY(desktop.catcher.isSpread);
        desktop.catcher.onPointer(QPoint(5, 5));
        QVERIFY(!desktop.catcher.isSpread);
        QCOMPARE(desktop.told, QString());
    }

    void tellsWhetherAKeyFoundADrag()
    {
        Desktop desktop;
        QStringList told;
        desktop.source.onPressed = [&](ModifierFlags flags) {
            told << QString::number(flags, 16);
        };
        desktop.source.onNothingFound = [&] {
            told << "nothing";
        };
        desktop.tap(commandFlag); // nobody has dragged anything
        desktop.beginDrag();
        desktop.tap(controlFlag); // opens nothing
        QCOMPARE(told, QStringList());
        desktop.press(commandFlag);
        desktop.catcher.onPointer(QPoint(5, 5));
        QCOMPARE(told, (QStringList{"100000", "nothing"}));

        told.clear();
        desktop.press(0);
        desktop.beginDrag();
        desktop.tap(commandFlag);
        desktop.catcher.onEntered({"/a.png"}, QPoint(1, 1));
        desktop.tap(shiftFlag);
        desktop.catcher.onDropped();
        QCOMPARE(told, (QStringList{"100000", "20000"}));
    }

    void aDragOutOfReachIsNeverLookedFor()
    {
        Desktop desktop;
        desktop.beginDrag(); // its end is not seen
        desktop.watched.reachable = false;
        desktop.beginDrag();
        desktop.press(shiftFlag);
        QVERIFY(!desktop.catcher.isSpread);
        desktop.watched.reachable = true;
        desktop.beginDrag();
        desktop.press(0);
        desktop.press(shiftFlag);
        QVERIFY(desktop.catcher.isSpread);
    }

    void tellsOnceOfADragThatBeganAndOfItsFilesWhereTheyAreTold()
    {
        Desktop desktop;
        CompositeDragSource whole({&desktop.source}); // which hands it on
        QString signs;
        whole.onSign = [&signs](const DragSign& sign) {
            signs += !sign.isWithinReach ? "far;" : sign.files ? QString("%1;").arg(sign.files->size()) : "any;";
        };
        desktop.source.refresh();
        ++desktop.watched.count;
        desktop.source.refresh();
        QCOMPARE(signs, QString()); // not known yet
        desktop.watched.files = {"/a.png", "/b.png"};
        desktop.source.refresh();
        desktop.source.refresh();
        QCOMPARE(signs, QString("2;"));
        desktop.watched.telling = false;
        ++desktop.watched.count;
        desktop.source.refresh();
        desktop.watched.reachable = false;
        ++desktop.watched.count;
        desktop.source.refresh();
        QCOMPARE(signs, QString("2;any;far;"));
    }

    void aDragThatWentAwayIsFoundAgain()
    {
        Desktop desktop;
        desktop.beginDrag();
        desktop.tap(shiftFlag);
        desktop.catcher.onEntered({"/a.png"}, QPoint(1, 1));
        desktop.catcher.onLeft();
        QVERIFY(!desktop.catcher.isSpread);
        desktop.tap(commandFlag);
        desktop.catcher.onEntered({"/a.png"}, QPoint(2, 2));
        QCOMPARE(desktop.told, QString("started 1 at 1,1;convert;ended;started 1 at 2,2;tools;"));
    }
};

QTEST_GUILESS_MAIN(DiscoveringDragSourceTest)

#include "DiscoveringDragSourceTest.moc"
