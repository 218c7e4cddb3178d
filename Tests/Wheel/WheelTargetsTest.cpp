#include "Wheel/WheelTargets.h"
#include "Wheel/TargetRules.h"

#include <QDragEnterEvent>
#include <QMimeData>
#include <QSignalSpy>
#include <QTest>
#include <QUrl>

using namespace Pelgra;

namespace {

WheelTarget* target(const WheelTargets& targets, const char* name)
{
    return targets.findChild<WheelTarget*>(name);
}

/// Whether a drag of a file that comes over a target is accepted there.
bool dragOver(WheelTarget* target)
{
    QMimeData data;
    data.setUrls({QUrl("file:///a.pdf")});
    QDragEnterEvent event(target->rect().center(), Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
    QCoreApplication::sendEvent(target, &event);
    return event.isAccepted();
}

} // namespace

class WheelTargetsTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void showsTheTargetsThatAreOfferedSideBySide()
    {
        WheelTargets targets;
        targets.showBeside({400, 400}, {});
        QVERIFY(!targets.isVisible());
        targets.showBeside({400, 400}, {WheelKind::convert, WheelKind::tools});
        QVERIFY(targets.isVisible());
        QCOMPARE(targets.size(), TargetRules::sizeOf(2, false));
        QVERIFY(target(targets, "convertTarget")->geometry().right() < target(targets, "toolsTarget")->x());
        targets.showAtEdge({WheelKind::tools});
        QCOMPARE(targets.size(), TargetRules::sizeOf(1, true));
        QVERIFY(!target(targets, "convertTarget")->isVisible());
        QCOMPARE(target(targets, "toolsTarget")->pos(), QPoint());
        for (const WheelTarget* each : targets.findChildren<WheelTarget*>())
            QVERIFY(!each->accessibleName().isEmpty());
    }

    void aDragThatEntersOneTellsOnceItCanBeHandledAndIsNotTaken()
    {
        WheelTargets targets;
        QSignalSpy entered(&targets, &WheelTargets::entered);
        targets.showAtEdge({WheelKind::convert, WheelKind::tools});
        QVERIFY(!dragOver(target(targets, "toolsTarget")));
        QCOMPARE(entered.count(), 0);
        QTRY_COMPARE(entered.count(), 1);
        QCOMPARE(entered.first().first().value<WheelKind>(), WheelKind::tools);
        dragOver(target(targets, "convertTarget"));
        targets.dismiss();
        QCoreApplication::processEvents();
        QCOMPARE(entered.count(), 1); // too late
    }

    void goesAwayAtThePointerWithoutADragAndInTime()
    {
        WheelTargets targets;
        targets.showAtEdge({WheelKind::convert});
        QTest::mouseMove(target(targets, "convertTarget"));
        QTRY_VERIFY(!targets.isVisible());
        targets.showAtEdge({WheelKind::convert});
        targets.findChild<QTimer*>("dismissal")->start(0);
        QTRY_VERIFY(!targets.isVisible());
    }

    void comesBackWhenItSteppedAsideForNothing()
    {
        WheelTargets targets;
        targets.showAtEdge({WheelKind::convert});
        targets.stepAside();
        QVERIFY(!targets.isVisible());
        QTRY_VERIFY(targets.isVisible());
        targets.stepAside();
        targets.dismiss();
        QVERIFY(!targets.findChild<QTimer*>("return")->isActive());
    }
};

QTEST_MAIN(WheelTargetsTest)

#include "WheelTargetsTest.moc"
