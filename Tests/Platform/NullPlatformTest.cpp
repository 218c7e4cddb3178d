#include "Platform/Null/NullPlatform.h"

#include <QTest>
#include <QWidget>
#include <QWindow>

using namespace Pelgra;

class NullPlatformTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void shapesTheWindowAndPaintsAllOfTheWidget()
    {
        QWidget panel;
        panel.resize(100, 100);
        NullWheelSurface surface;
        surface.attach(&panel, nullptr);
        surface.setInputRegion(QRegion(0, 0, 100, 20));
        QCOMPARE(panel.windowHandle()->mask(), QRegion(0, 0, 100, 20));
        QVERIFY(panel.mask().isEmpty()); // what lies outside is painted, though not clicked
        surface.detach();
    }
};

QTEST_MAIN(NullPlatformTest)

#include "NullPlatformTest.moc"
