#include "Settings/ThisDesktop.h"

#include <QTest>

using namespace Pelgra;

class ThisDesktopTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void promisesOnlyWhatTheSessionCanDo()
    {
        DesktopAbilities abilities;
        abilities.seesDrags = true;
        abilities.step = DesktopAbilities::Step::showKeysToX11;
        QVERIFY(ThisDesktop::sentenceFor(abilities, {}).contains("one more step"));
        abilities.step = DesktopAbilities::Step::none;
        const QString rightClick = "Right-click files and choose Convert with Pelgra";
        QCOMPARE(ThisDesktop::sentenceFor(abilities, {}), rightClick); // no key is ever seen
        abilities.seesKeys = true;
        QCOMPARE(ThisDesktop::sentenceFor(abilities, {}), QString("Drag files and tap Shift or Super"));
        QCOMPARE(ThisDesktop::sentenceFor(abilities, {ModifierKey::control, ModifierKey::function}),
                 QString("Drag files and tap Ctrl or AltGr"));
        QCOMPARE(ThisDesktop::sentenceFor(abilities, {ModifierKey::option, ModifierKey::option}),
                 QString("Drag files and tap Alt"));
        abilities.seesDrags = false;
        QCOMPARE(ThisDesktop::sentenceFor(abilities, {}), rightClick);
    }
};

QTEST_GUILESS_MAIN(ThisDesktopTest)

#include "ThisDesktopTest.moc"
