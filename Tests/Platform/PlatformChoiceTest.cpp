#include "Platform/PlatformChoice.h"

#include <QTest>

using namespace Pelgra;

class PlatformChoiceTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void choosesWhereDragsAreSeen_data()
    {
        QTest::addColumn<bool>("isChosen");
        QTest::addColumn<bool>("hasWayland");
        QTest::addColumn<bool>("hasLayers");
        QTest::addColumn<bool>("hasX11");
        QTest::addColumn<QString>("platforms");
        QTest::newRow("X11") << false << false << false << true << "xcb";
        QTest::newRow("layers beside an X server") << false << true << true << true << "wayland;xcb";
        QTest::newRow("layers alone") << false << true << true << false << "wayland";
        QTest::newRow("no layers, but an X server") << false << true << false << true << "xcb;wayland";
        QTest::newRow("neither") << false << true << false << false << "wayland";
        QTest::newRow("no display at all") << false << false << false << false << "";
        QTest::newRow("the user's word") << true << true << true << true << "";
    }
    void choosesWhereDragsAreSeen()
    {
        QFETCH(bool, isChosen);
        QFETCH(bool, hasWayland);
        QFETCH(bool, hasLayers);
        QFETCH(bool, hasX11);
        const std::string_view platforms = platformsFor({isChosen, hasWayland, hasLayers, hasX11});
        QTEST(QString::fromUtf8(platforms.data(), static_cast<int>(platforms.size())), "platforms");
    }
};

QTEST_GUILESS_MAIN(PlatformChoiceTest)

#include "PlatformChoiceTest.moc"
