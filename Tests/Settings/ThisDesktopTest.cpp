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

    void linesForTheCompositorNameTheKeysInUse()
    {
        DesktopAbilities abilities;
        abilities.seesDrags = true;
        abilities.step = DesktopAbilities::Step::bindKeys;
        abilities.compositor = "sway";
        QVERIFY(ThisDesktop::sentenceFor(abilities, {}).contains("one more step"));
        QCOMPARE(ThisDesktop::keyBindingsFor(abilities, {}),
                 QString("bindsym --no-repeat Shift_L exec pelgra tap convert\n"
                         "bindsym --no-repeat Super_L exec pelgra tap tools"));
        abilities.compositor = "labwc";
        QCOMPARE(
            ThisDesktop::keyBindingsFor(abilities, {ModifierKey::control, ModifierKey::control}),
            QString("<keybind key=\"Control_L\"><action name=\"Execute\" command=\"pelgra tap convert\"/></keybind>"));
        abilities.seesDrags = false; // the keys alone are of no use
        QVERIFY(!ThisDesktop::sentenceFor(abilities, {}).contains("one more step"));
    }

    void targetsNeedNoKeyAndPromiseNoMoreThanTheSessionTells()
    {
        DesktopAbilities abilities;
        const QString none = ThisDesktop::targetsNoteFor(abilities);
        QVERIFY(none.startsWith("Not in this session"));
        QVERIFY(ThisDesktop::sentenceFor(abilities, {}, true).startsWith("Right-click"));
        abilities.seesDrags = true;
        QVERIFY(ThisDesktop::targetsNoteFor(abilities).contains("beside the pointer"));
        QVERIFY(ThisDesktop::sentenceFor(abilities, {}, true).startsWith("Drag files onto a target"));
        QVERIFY(ThisDesktop::sentenceFor(abilities, {}, false).startsWith("Right-click"));
        abilities.seesPointer = false;
        QVERIFY(ThisDesktop::targetsNoteFor(abilities).contains("right edge"));
        QVERIFY(!ThisDesktop::targetsNoteFor(abilities).contains("text too"));
        abilities.seesFiles = false;
        QVERIFY(ThisDesktop::targetsNoteFor(abilities).contains("text too"));
        abilities.seesKeys = true;
        QCOMPARE(ThisDesktop::sentenceFor(abilities, {}, true), QString("Drag files and tap Shift or Super"));
    }

    void namesWhatStandsForTheKeysOnGnome()
    {
        using Step = DesktopAbilities::Step;
        DesktopAbilities abilities;
        abilities.seesDrags = true;
        abilities.step = Step::enableExtension;
        abilities.otherStep = Step::bindShortcuts;
        QVERIFY(ThisDesktop::sentenceFor(abilities, {}).contains("an extension, which is installed"));
        abilities.step = Step::none;
        QVERIFY(ThisDesktop::sentenceFor(abilities, {}).contains("log out and in again"));
        abilities.toolsShortcut = "Ctrl+Alt+P";
        QCOMPARE(ThisDesktop::sentenceFor(abilities, {}), QString("Drag files and press Ctrl+Alt+P"));
        abilities.convertShortcut = "Ctrl+Alt+C";
        QCOMPARE(ThisDesktop::sentenceFor(abilities, {}), QString("Drag files and press Ctrl+Alt+C or Ctrl+Alt+P"));
        abilities.seesKeys = true; // and with them the keys themselves
        QCOMPARE(ThisDesktop::sentenceFor(abilities, {}), QString("Drag files and tap Shift or Super"));
        for (const Step step : {Step::showKeysToX11, Step::enableExtension, Step::bindShortcuts})
            QVERIFY(!ThisDesktop::titleFor(step).isEmpty());
    }
};

QTEST_GUILESS_MAIN(ThisDesktopTest)

#include "ThisDesktopTest.moc"
