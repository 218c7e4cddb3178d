#include "Settings/Preferences.h"
#include "App/Updates/Updater.h"

#include <QRegularExpression>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

using namespace Pelgra;

namespace {

Preferences preferencesWith(const QHash<QString, QVariant>& stored)
{
    auto store = std::make_unique<MemoryPreferencesStore>();
    for (auto i = stored.begin(); i != stored.end(); ++i)
        store->setValue(i.key(), i.value());
    return Preferences(std::move(store));
}

QString textOf(const QString& file)
{
    QFile opened(file);
    return opened.open(QIODevice::ReadOnly) ? QString::fromUtf8(opened.readAll()) : QString();
}

} // namespace

class PreferencesTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void loadsDefaultsWhereTheStoreIsEmptyOrUnreadable_data()
    {
        QTest::addColumn<QVariant>("key");
        QTest::addColumn<QVariant>("quality");
        QTest::addColumn<QVariant>("checks");
        QTest::addColumn<WheelKeys>("expectedKeys");
        QTest::addColumn<double>("expectedQuality");
        QTest::addColumn<bool>("expectedChecks");
        const QVariant none;
        QTest::newRow("empty") << none << none << none << WheelKeys{} << 0.9 << true;
        QTest::newRow("wrong case, text, text")
            << QVariant("Shift") << QVariant("high") << QVariant("maybe") << WheelKeys{} << 0.9 << true;
        QTest::newRow("symbol, below, number")
            << QVariant("fn") << QVariant(0.2) << QVariant(7) << WheelKeys{} << 0.5 << true;
        QTest::newRow("valid") << QVariant("function") << QVariant(0.5) << QVariant(false)
                               << WheelKeys{ModifierKey::function, ModifierKey::function} << 0.5 << false;
        QTest::newRow("as text") << QVariant("option") << QVariant("0.75") << QVariant("NO")
                                 << WheelKeys{ModifierKey::option, ModifierKey::option} << 0.75 << false;
        QTest::newRow("above, list") << QVariant(QStringList{"shift", "shift"}) << QVariant(1.7)
                                     << QVariant(QStringList{}) << WheelKeys{} << 1.0 << true;
        QTest::newRow("no number") << none << QVariant(qQNaN()) << none << WheelKeys{} << 0.5 << true;
    }

    void loadsDefaultsWhereTheStoreIsEmptyOrUnreadable()
    {
        QFETCH(QVariant, key);
        QFETCH(QVariant, quality);
        QFETCH(QVariant, checks);
        const Preferences preferences = preferencesWith({{"convertKey", key},
                                                         {"toolsKey", key},
                                                         {"jpegQuality", quality},
                                                         {"checkForUpdatesAutomatically", checks}});
        QTEST(preferences.wheelKeys(), "expectedKeys");
        QTEST(preferences.jpegQuality(), "expectedQuality");
        QTEST(preferences.checkForUpdatesAutomatically(), "expectedChecks");
    }

    void storesEveryChangeAtOnceAndNothingOnLoading()
    {
        const QTemporaryDir folder;
        const QString file = folder.filePath("settings/pelgra.ini");
        Preferences preferences(std::make_unique<FilePreferencesStore>(file));
        QVERIFY(!QFile::exists(file));
        QSignalSpy keyChanges(&preferences, &Preferences::toolsKeyChanged);

        preferences.setToolsKey(ModifierKey::control);
        QCOMPARE(keyChanges.count(), 1);
        QVERIFY(textOf(file).contains("toolsKey=control"));
        QVERIFY(!textOf(file).contains("convertKey"));

        preferences.setJPEGQuality(0.3);
        preferences.setCheckForUpdatesAutomatically(false);
        QVERIFY(!preferences.showsTargets());
        preferences.setShowsTargets(true);
        QCOMPARE(preferences.jpegQuality(), 0.3);
        const Preferences next(std::make_unique<FilePreferencesStore>(file));
        QCOMPARE(next.toolsKey(), ModifierKey::control);
        QCOMPARE(next.jpegQuality(), 0.5);
        QCOMPARE(next.checkForUpdatesAutomatically(), false);
        QCOMPARE(next.showsTargets(), true);
    }

    void tellsWhetherAChangeIsKept()
    {
        const QTemporaryDir folder;
        const QString place = folder.filePath("pelgra");
        QFile inTheWay(place);
        QVERIFY(inTheWay.open(QIODevice::WriteOnly));
        Preferences preferences(std::make_unique<FilePreferencesStore>(place + "/pelgra.ini"));
        QSignalSpy stored(&preferences, &Preferences::stored);
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("^toolsKey could not be saved in .*/pelgra.ini$"));
        preferences.setToolsKey(ModifierKey::control);
        QCOMPARE(stored.takeLast().first().toBool(), false);
        QCOMPARE(preferences.toolsKey(), ModifierKey::control);

        QVERIFY(inTheWay.remove()); // and what could not be kept at first is kept with the next change
        preferences.setConvertKey(ModifierKey::option);
        QCOMPARE(stored.takeLast().first().toBool(), true);
        QVERIFY(textOf(place + "/pelgra.ini").contains("toolsKey=control"));
    }

    void argumentsStandBeforeTheFileForOneRun()
    {
        const QTemporaryDir folder;
        const QString file = folder.filePath("pelgra.ini");
        const auto storeWith = [&](const QStringList& arguments) {
            return std::make_unique<ArgumentPreferencesStore>(arguments, std::make_unique<FilePreferencesStore>(file));
        };
        Preferences preferences(storeWith({"-convertKey", "control", "-jpegQuality", "0.6", "-", "-toolsKey"}));
        QCOMPARE(preferences.convertKey(), ModifierKey::control);
        QCOMPARE(preferences.jpegQuality(), 0.6);
        QCOMPARE(preferences.toolsKey(), ModifierKey::command);
        QVERIFY(!QFile::exists(file));
        preferences.setConvertKey(ModifierKey::option);
        QCOMPARE(Preferences(storeWith({})).convertKey(), ModifierKey::option);
    }

    void tellsTheUpdaterWhetherToCheck()
    {
        FakeUpdater updater;
        updater.setAutomaticallyChecksForUpdates(true);
        Preferences preferences = preferencesWith({});
        Updater::follow(preferences);
        preferences.setCheckForUpdatesAutomatically(false); // no updater installed: only stored
        QVERIFY(updater.automaticallyChecksForUpdates());
        Updater::setCurrent(&updater);
        preferences.setCheckForUpdatesAutomatically(false);
        QVERIFY(!updater.automaticallyChecksForUpdates());
        Updater::setCurrent(nullptr);
    }

    void hintsAndWarnsWithTheSymbolsOfTheKeys()
    {
        Preferences preferences = preferencesWith({});
        QCOMPARE(preferences.menuHint(), QString::fromUtf8("Drag a file, then tap ⇧ to convert or ⌘ for tools"));
        QVERIFY(preferences.sameKeyWarning().isEmpty());
        preferences.setConvertKey(ModifierKey::option);
        preferences.setToolsKey(ModifierKey::function);
        QCOMPARE(preferences.menuHint(), QString::fromUtf8("Drag a file, then tap ⌥ to convert or fn for tools"));
        preferences.setToolsKey(ModifierKey::option);
        QVERIFY(preferences.sameKeyWarning().startsWith("Both wheels use the same key"));
        QCOMPARE(pickerLabelOf(ModifierKey::shift), QString::fromUtf8("⇧  Shift"));
    }
};

QTEST_GUILESS_MAIN(PreferencesTest)
#include "PreferencesTest.moc"
