#include "Settings/SettingsView.h"
#include "Desktop/LoginItem.h"
#include "Settings/Preferences.h"

#include <QCheckBox>
#include <QComboBox>
#include <QFile>
#include <QLabel>
#include <QPushButton>
#include <QSlider>
#include <QTemporaryDir>
#include <QTest>

using namespace Pelgra;

namespace {

std::optional<QString> errorOfSetting(bool enabled)
{
    std::optional<QString> told = QStringLiteral("nothing was told");
    LoginItem::setEnabled(enabled, nullptr, [&](const std::optional<QString>& error) { told = error; });
    return told;
}

} // namespace

class SettingsViewTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        m_home = std::make_unique<QTemporaryDir>();
        qputenv("XDG_CONFIG_HOME", m_home->path().toUtf8());
        m_preferences = std::make_unique<Preferences>(std::make_unique<MemoryPreferencesStore>());
        m_view = std::make_unique<SettingsView>(m_preferences.get());
        m_view->show();
    }

    void showsAndChangesTheKeysAtOnce()
    {
        auto* const tools = find<QComboBox>("toolsKey");
        QCOMPARE(tools->currentText(), QString("⌘  Command"));
        QVERIFY(find<QLabel>("sameKeyWarning")->isHidden());

        tools->setCurrentIndex(0);
        QCOMPARE(m_preferences->toolsKey(), ModifierKey::shift);
        QVERIFY(!find<QLabel>("sameKeyWarning")->isHidden());

        m_preferences->setConvertKey(ModifierKey::function);
        QCOMPARE(find<QComboBox>("convertKey")->currentText(), QString("fn  Function"));
        QVERIFY(find<QLabel>("sameKeyWarning")->isHidden());
    }

    void targetsAreOffUntilChosen()
    {
        auto* const targets = find<QCheckBox>("dragTargets");
        QVERIFY(!targets->isChecked());
        targets->click();
        QVERIFY(m_preferences->showsTargets());
        m_preferences->setShowsTargets(false);
        QVERIFY(!targets->isChecked());
        QVERIFY(!find<QLabel>("dragTargetsNote")->text().isEmpty());
    }

    void theQualityMovesInStepsBetweenItsEnds()
    {
        auto* const slider = find<QSlider>("jpegQuality");
        QCOMPARE(find<QLabel>("jpegQualityText")->text(), QString("90%"));
        QTest::keyClick(slider, Qt::Key_Right);
        QCOMPARE(find<QLabel>("jpegQualityText")->text(), QString("95%"));
        QVERIFY(qAbs(m_preferences->jpegQuality() - 0.95) < 1e-9);
        for (int press = 0; press < 20; ++press)
            QTest::keyClick(slider, Qt::Key_Left);
        QVERIFY(qAbs(m_preferences->jpegQuality() - 0.5) < 1e-9);
        m_preferences->setJPEGQuality(0.725);
        QCOMPARE(find<QLabel>("jpegQualityText")->text(), QString("73%"));
        QVERIFY(qAbs(m_preferences->jpegQuality() - 0.725) < 1e-9); // showing it must not round it
    }

    void aChangeThatIsNotKeptIsToldUntilOneIs()
    {
        auto* const note = find<QLabel>("notStored");
        QVERIFY(note->isHidden());
        Q_EMIT m_preferences->stored(false);
        QVERIFY(!note->isHidden());
        m_preferences->setToolsKey(ModifierKey::control);
        QVERIFY(note->isHidden());
    }

    void launchAtLoginShowsWhatIsTrue()
    {
        auto* const toggle = find<QCheckBox>("launchAtLogin");
        QVERIFY(!toggle->isChecked());
        QVERIFY(!errorOfSetting(false)); // never registered: nothing to do, no error
        toggle->click();
        QVERIFY(toggle->isChecked());
        QCOMPARE(LoginItem::status(), LoginItem::Status::enabled);
        toggle->click();
        QVERIFY(!QFile::exists(LoginItem::entryFile()));
    }

    void changesFromOutsideAreSeen()
    {
        auto* const toggle = find<QCheckBox>("launchAtLogin");
        toggle->click();
        QFile entry(LoginItem::entryFile());
        QVERIFY(entry.open(QIODevice::ReadWrite));
        QByteArray text = entry.readAll();
        text.replace("X-GNOME-Autostart-enabled=true", "X-GNOME-Autostart-enabled=false");
        entry.resize(0);
        entry.write(text);
        entry.close();
        QTRY_VERIFY(!toggle->isChecked());
        QVERIFY(!find<QPushButton>("approveLoginItem")->isHidden());

        QVERIFY(QFile::remove(LoginItem::entryFile()));
        QTRY_VERIFY(find<QPushButton>("approveLoginItem")->isHidden());
        QCOMPARE(LoginItem::status(), LoginItem::Status::absent);
    }

    void anEntryWhoseProgramIsGoneIsNotFound()
    {
        QVERIFY(!errorOfSetting(true));
        QFile entry(LoginItem::entryFile());
        QVERIFY(entry.open(QIODevice::WriteOnly));
        entry.write("[Desktop Entry]\nType=Application\nExec=\"/no/such/pelgra desktop\" --background\n");
        entry.close();
        QCOMPARE(LoginItem::status(), LoginItem::Status::notFound);
        QVERIFY(!errorOfSetting(false));
    }

    void aFailureIsShownAndTheToggleFallsBack()
    {
        QDir(m_home->path()).rmdir("autostart");
        QFile notAFolder(m_home->path() + "/autostart");
        QVERIFY(notAFolder.open(QIODevice::WriteOnly));
        notAFolder.close();
        auto* const toggle = find<QCheckBox>("launchAtLogin");
        toggle->click();
        QVERIFY(!toggle->isChecked());
        QVERIFY(!find<QLabel>("loginItemError")->isHidden());
        QVERIFY(!find<QLabel>("loginItemError")->text().isEmpty());
    }

private:
    template <typename Widget>
    Widget* find(const char* name)
    {
        return m_view->findChild<Widget*>(name);
    }

    std::unique_ptr<QTemporaryDir> m_home;
    std::unique_ptr<Preferences> m_preferences;
    std::unique_ptr<SettingsView> m_view;
};

QTEST_MAIN(SettingsViewTest)
#include "SettingsViewTest.moc"
