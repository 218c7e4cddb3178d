#include "Support/Motion.h"

#include <QApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusVariant>
#include <QStyle>

#include <optional>

namespace Pelgra::Motion {

namespace {

// The settings portal of freedesktop.org hands on the desktop's own keys, this one also for other toolkits' desktops.
const QString portalService = QStringLiteral("org.freedesktop.portal.Desktop");
const QString portalPath = QStringLiteral("/org/freedesktop/portal/desktop");
const QString portalInterface = QStringLiteral("org.freedesktop.portal.Settings");
const QString settingsNamespace = QStringLiteral("org.gnome.desktop.interface");
const QString animationsKey = QStringLiteral("enable-animations");

/// What the desktop said last; nothing as long as it has not.
std::optional<bool> animationsEnabled;

class PortalListener : public QObject {
    Q_OBJECT

public:
    using QObject::QObject;

public Q_SLOTS:
    void settingChanged(const QString& group, const QString& key, const QDBusVariant& value)
    {
        if (group == settingsNamespace && key == animationsKey)
            animationsEnabled = value.variant().toBool();
    }
};

} // namespace

bool isReduced()
{
    static const bool asked = qEnvironmentVariableIntValue("PELGRA_REDUCED_MOTION") == 1;
    if (asked || animationsEnabled == false)
        return true;
    return qApp && qApp->style() && qApp->style()->styleHint(QStyle::SH_Widget_Animation_Duration) == 0;
}

void followDesktop(QObject* context)
{
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected())
        return;
    auto* const listener = new PortalListener(context);
    bus.connect(portalService, portalPath, portalInterface, QStringLiteral("SettingChanged"), listener,
                SLOT(settingChanged(QString, QString, QDBusVariant)));
    QDBusMessage question =
        QDBusMessage::createMethodCall(portalService, portalPath, portalInterface, QStringLiteral("Read"));
    question << settingsNamespace << animationsKey;
    auto* const watcher = new QDBusPendingCallWatcher(bus.asyncCall(question), listener);
    QObject::connect(watcher, &QDBusPendingCallWatcher::finished, listener, [](QDBusPendingCallWatcher* answered) {
        const QDBusPendingReply<QDBusVariant> reply = *answered;
        if (reply.isValid()) {
            // The portal wraps the value a second time.
            const QVariant value = reply.value().variant();
            animationsEnabled =
                (value.canConvert<QDBusVariant>() ? value.value<QDBusVariant>().variant() : value).toBool();
        }
        answered->deleteLater();
    });
}

} // namespace Pelgra::Motion

#include "Motion.moc"
