#include "Settings/SettingsWindow.h"

#include <QPushButton>
#include <QTemporaryDir>
#include <QTest>
#include <QWindow>

using namespace Pelgra;

class SettingsWindowTest : public QObject {
    Q_OBJECT

private:
    QTemporaryDir m_home;

    static void press(Qt::Key key, Qt::KeyboardModifiers modifiers = Qt::ControlModifier)
    {
        QTest::keyClick(SettingsWindow::window()->windowHandle(), key, modifiers);
    }

private Q_SLOTS:
    void initTestCase() { qputenv("XDG_CONFIG_HOME", m_home.path().toUtf8()); }
    void cleanupTestCase() { delete SettingsWindow::window(); }

    void isClosedAndQuitFromByItsKeys()
    {
        int quits = 0;
        const auto show = [&quits](bool hasQuitButton) {
            SettingsWindow::show([&quits] { ++quits; }, hasQuitButton);
            QVERIFY(QTest::qWaitForWindowActive(SettingsWindow::window()));
        };
        show(false);
        const auto* const button = SettingsWindow::window()->findChild<QPushButton*>("quit");
        QVERIFY(!button->isVisible());
        press(Qt::Key_W, Qt::NoModifier);
        QVERIFY(SettingsWindow::window()->isVisible());
        press(Qt::Key_W);
        QVERIFY(!SettingsWindow::window()->isVisible());
        QCOMPARE(quits, 0);

        show(true);
        QVERIFY(button->isVisible());
        press(Qt::Key_Q);
        QCOMPARE(quits, 1); // with a tray and without
        show(false);
        press(Qt::Key_Q);
        QCOMPARE(quits, 2);
    }
};

QTEST_MAIN(SettingsWindowTest)
#include "SettingsWindowTest.moc"
