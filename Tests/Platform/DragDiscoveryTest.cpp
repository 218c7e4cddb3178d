#include "Platform/Sampling/DragDiscovery.h"

#include <QTest>

#include <vector>

using namespace Pelgra;
using namespace std::chrono_literals;
using Sample = DragDiscovery::Sample;
using End = DragDiscovery::End;

namespace {

/// One with a drag found by a tap, its samples taken.
DragDiscovery found()
{
    DragDiscovery discovery;
    discovery.dragMayHaveBegun(0ms);
    discovery.pressed(shiftFlag, 10ms);
    discovery.dragEntered(true);
    while (discovery.hasNews())
        discovery.nextSample();
    return discovery;
}

ModifierFlags nextFlags(DragDiscovery& discovery)
{
    return discovery.nextSample().flags;
}

} // namespace

class DragDiscoveryTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void typingNeverSpreadsTheSurface()
    {
        DragDiscovery discovery;
        discovery.pressed(shiftFlag, 0ms);
        QVERIFY(!discovery.wantsSurface());
        discovery.dragMayHaveBegun(1s);
        QVERIFY(!discovery.wantsSurface());
        discovery.pressed(0, 2s); // keys that open no wheel
        QVERIFY(!discovery.wantsSurface());
        discovery.pressed(shiftFlag, 1s + DragDiscovery::expiry);
        QVERIFY(!discovery.wantsSurface());
    }

    void aTapThatFindsADragPlaysWhatWentUnseen()
    {
        DragDiscovery discovery;
        discovery.dragMayHaveBegun(0ms);
        discovery.pressed(shiftFlag, 50ms);
        QVERIFY(discovery.wantsSurface());
        QVERIFY(!discovery.hasNews());
        QCOMPARE(discovery.nextSample(), Sample());
        discovery.pressed(commandFlag, 90ms); // the later key is meant
        discovery.dragEntered(true);

        const std::vector<Sample> expected{{0, false, 0}, {1, true, 0}, {1, true, commandFlag}, {1, true, 0}};
        for (const Sample& sample : expected) {
            QVERIFY(discovery.hasNews());
            QCOMPARE(discovery.nextSample(), sample);
        }
        QVERIFY(!discovery.hasNews());
        QCOMPARE(discovery.nextSample(), (Sample{1, true, 0}));
        QVERIFY(discovery.wantsSurface());
    }

    void aSurfaceThatNoDragComesOverGoes()
    {
        DragDiscovery discovery;
        discovery.dragMayHaveBegun(0ms);
        discovery.pressed(shiftFlag, 100ms);
        discovery.timePassed(99ms + DragDiscovery::patience);
        QVERIFY(discovery.wantsSurface());
        discovery.timePassed(100ms + DragDiscovery::patience);
        QVERIFY(!discovery.wantsSurface());
        // The hand may have been still: another tap looks again.
        discovery.pressed(shiftFlag, 2s);
        QVERIFY(discovery.wantsSurface());
        // A pointer without a drag proves that there is none: typing on spreads nothing.
        discovery.pointerCame();
        QVERIFY(!discovery.wantsSurface());
        discovery.pressed(shiftFlag, 3s);
        QVERIFY(!discovery.wantsSurface());
    }

    void aDragWithoutFilesIsLeftAlone()
    {
        DragDiscovery discovery;
        discovery.dragMayHaveBegun(0ms);
        discovery.pressed(shiftFlag, 10ms);
        discovery.dragEntered(false);
        QVERIFY(!discovery.wantsSurface());
        QVERIFY(!discovery.hasNews());
        discovery.pressed(shiftFlag, 100ms);
        QVERIFY(!discovery.wantsSurface());
    }

    void eachPressLastsOneSampleAndIsSeparateFromTheNext()
    {
        DragDiscovery discovery = found();
        discovery.pressed(shiftFlag, 20ms);
        discovery.pressed(commandFlag, 21ms);
        QCOMPARE(nextFlags(discovery), shiftFlag | commandFlag);
        QCOMPARE(nextFlags(discovery), ModifierFlags(0));
        discovery.pressed(shiftFlag, 22ms);
        QCOMPARE(nextFlags(discovery), shiftFlag);
        discovery.pressed(shiftFlag, 23ms);
        QCOMPARE(nextFlags(discovery), ModifierFlags(0)); // or the two would be one
        QCOMPARE(nextFlags(discovery), shiftFlag);
        QCOMPARE(nextFlags(discovery), ModifierFlags(0));
    }

    void theEndIsToldOnceAndAnotherTapFindsADragThatWentOn()
    {
        DragDiscovery discovery = found();
        discovery.dragEnded(End::elsewhere);
        QVERIFY(!discovery.wantsSurface());
        QVERIFY(discovery.hasNews());
        QCOMPARE(discovery.nextSample(), (Sample{1, false, 0}));
        discovery.pointerCame();
        QVERIFY(!discovery.hasNews());

        discovery = found();
        discovery.dragEnded(End::elsewhere);
        discovery.nextSample();
        discovery.pressed(commandFlag, 5s);
        discovery.dragEntered(true);
        std::vector<Sample> played;
        while (discovery.hasNews())
            played.push_back(discovery.nextSample());
        QCOMPARE(played[1], (Sample{2, true, 0}));
        QCOMPARE(played[2], (Sample{2, true, commandFlag}));
        // A press of the drag before is not one of this.
        discovery = found();
        discovery.pressed(shiftFlag, 30ms);
        discovery.dragEnded(End::over);
        QCOMPARE(nextFlags(discovery), ModifierFlags(0));
        discovery.pressed(shiftFlag, 40ms);
        QVERIFY(!discovery.wantsSurface()); // it is over
    }
};

QTEST_GUILESS_MAIN(DragDiscoveryTest)

#include "DragDiscoveryTest.moc"
