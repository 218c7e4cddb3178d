#include "Desktop/LoginItem.h"
#include "Settings/Preferences.h"
#include "Settings/SettingsView.h"

#include <QCheckBox>
#include <QDBusConnection>
#include <QDBusContext>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QFile>
#include <QLabel>
#include <QProcess>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTest>

using namespace Pelgra;

namespace {

/// Plays the desktop's portal on a bus of the test's own.
class FakePortal : public QObject, protected QDBusContext {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.portal.Background")

public:
    uint response = 0; ///< 0 done, 1 cancelled, 2 failed
    bool grants = true;
    QVariantMap asked;

public Q_SLOTS:
    Q_SCRIPTABLE QDBusObjectPath RequestBackground(const QString&, const QVariantMap& options)
    {
        asked = options;
        const QString sender = message().service().mid(1).replace('.', '_');
        const QString request =
            "/org/freedesktop/portal/desktop/request/" + sender + '/' + options["handle_token"].toString();
        QDBusMessage answer = QDBusMessage::createSignal(request, "org.freedesktop.portal.Request", "Response");
        const bool autostart = grants && options["autostart"].toBool();
        answer << response << QVariantMap{{"background", true}, {"autostart", autostart}};
        const QDBusConnection bus = connection();
        QMetaObject::invokeMethod(this, [bus, answer] { bus.send(answer); }, Qt::QueuedConnection);
        return QDBusObjectPath(request);
    }
};

} // namespace

class BackgroundPortalTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_home.isValid());
        qputenv("XDG_CONFIG_HOME", m_home.path().toUtf8());
        qputenv("SNAP_INSTANCE_NAME", "pelgra");
        const QString address = "unix:path=" + m_home.filePath("bus");
        qputenv("DBUS_SESSION_BUS_ADDRESS", address.toUtf8());
        m_daemon.start("dbus-daemon", {"--session", "--nofork", "--print-address", "--address=" + address});
        QVERIFY(m_daemon.waitForStarted());
        QTRY_VERIFY(m_daemon.canReadLine());
    }
    void cleanupTestCase()
    {
        QDBusConnection::disconnectFromBus("portal");
        m_daemon.terminate();
        m_daemon.waitForFinished();
    }

    void init()
    {
        QFile::remove(m_home.filePath("pelgra/pelgra.ini"));
        m_preferences = std::make_unique<Preferences>(std::make_unique<MemoryPreferencesStore>());
        m_view = std::make_unique<SettingsView>(m_preferences.get());
        m_view->show();
        m_toggle = m_view->findChild<QCheckBox*>("launchAtLogin");
        m_approve = m_view->findChild<QPushButton*>("approveLoginItem");
        m_error = m_view->findChild<QLabel*>("loginItemError");
        QVERIFY(!m_toggle->isChecked());
    }

    void withoutAPortalTheReasonIsShown()
    {
        m_toggle->click();
        QTRY_VERIFY(!m_error->isHidden());
        QVERIFY(!m_error->text().isEmpty());
        QVERIFY(!m_toggle->isChecked());
    }

    void whatThePortalGrantsIsShownAndKept()
    {
        FakePortal portal;
        QVERIFY(publish(portal));
        m_toggle->click();
        QVERIFY(!m_toggle->isChecked()); // nothing is granted yet
        QTRY_VERIFY(m_toggle->isChecked());
        QVERIFY(portal.asked["autostart"].toBool());
        QCOMPARE(portal.asked["commandline"].toStringList(), (QStringList{"pelgra-desktop", "--background"}));
        QVERIFY(!QFile::exists(LoginItem::entryFile()));
        SettingsView another(m_preferences.get());
        QVERIFY(another.findChild<QCheckBox*>("launchAtLogin")->isChecked());

        m_toggle->click();
        QTRY_VERIFY(!m_toggle->isChecked());
        QVERIFY(!portal.asked["autostart"].toBool());
        QCOMPARE(LoginItem::status(), LoginItem::Status::absent);
    }

    void whatThePortalRefusesWantsApproval_data()
    {
        QTest::addColumn<uint>("response");
        QTest::newRow("the user says no") << 1u;
        QTest::newRow("the system's settings say no") << 0u;
    }
    void whatThePortalRefusesWantsApproval()
    {
        FakePortal portal;
        portal.grants = false;
        QFETCH(uint, response);
        portal.response = response;
        QVERIFY(publish(portal));
        m_toggle->click();
        QTRY_VERIFY(!m_approve->isHidden());
        QVERIFY(!m_toggle->isChecked());
        QVERIFY(m_error->isHidden());
    }

    void aPortalThatFailsIsNoRefusal()
    {
        FakePortal portal;
        portal.response = 2;
        QVERIFY(publish(portal));
        m_toggle->click();
        QTRY_VERIFY(!m_error->isHidden());
        QCOMPARE(LoginItem::status(), LoginItem::Status::absent);
    }

private:
    static bool publish(FakePortal& portal)
    {
        QDBusConnection bus = QDBusConnection::connectToBus(QDBusConnection::SessionBus, "portal");
        return bus.registerObject("/org/freedesktop/portal/desktop", &portal, QDBusConnection::ExportScriptableSlots)
            && bus.registerService("org.freedesktop.portal.Desktop");
    }

    QTemporaryDir m_home;
    QProcess m_daemon;
    std::unique_ptr<Preferences> m_preferences;
    std::unique_ptr<SettingsView> m_view;
    QCheckBox* m_toggle = nullptr;
    QPushButton* m_approve = nullptr;
    QLabel* m_error = nullptr;
};

QTEST_MAIN(BackgroundPortalTest)
#include "BackgroundPortalTest.moc"
