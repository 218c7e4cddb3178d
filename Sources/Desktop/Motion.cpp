#include "Desktop/Motion.h"

#include <QApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusVariant>
#include <QStyle>

#include <algorithm>
#include <array>

namespace Pelgra::Motion {

namespace {

// The settings portal of freedesktop.org passes on the desktop's own keys.
const QString portalService = QStringLiteral("org.freedesktop.portal.Desktop");
const QString portalPath = QStringLiteral("/org/freedesktop/portal/desktop");
const QString portalInterface = QStringLiteral("org.freedesktop.portal.Settings");

struct DesktopSetting {
    QString group;
    QString key;
    bool (*asksForLess)(const QVariant& value);
    bool isOn = false; ///< it asks for reduced motion, as far as the desktop has said
};

/// The portal's own key, which newer desktops know, and those of two families of desktops.
std::array<DesktopSetting, 3> settings{{
    {QStringLiteral("org.freedesktop.appearance"), QStringLiteral("reduced-motion"),
     [](const QVariant& value) {
         return value.toUInt() == 1;
     }},
    {QStringLiteral("org.gnome.desktop.interface"), QStringLiteral("enable-animations"),
     [](const QVariant& value) {
         return !value.toBool();
     }},
    {QStringLiteral("org.kde.kdeglobals.KDE"), QStringLiteral("AnimationDurationFactor"),
     [](const QVariant& value) {
         bool isNumber = false;
         return value.toString().toDouble(&isNumber) == 0 && isNumber;
     }},
}};

void take(DesktopSetting& setting, QVariant value)
{
    // The portal's older question wraps the value twice.
    while (value.canConvert<QDBusVariant>())
        value = value.value<QDBusVariant>().variant();
    setting.isOn = setting.asksForLess(value);
}

class PortalListener : public QObject {
    Q_OBJECT

public:
    using QObject::QObject;

    void ask(DesktopSetting& setting)
    {
        QDBusMessage question =
            QDBusMessage::createMethodCall(portalService, portalPath, portalInterface, QStringLiteral("Read"));
        question << setting.group << setting.key;
        auto* const watcher = new QDBusPendingCallWatcher(QDBusConnection::sessionBus().asyncCall(question), this);
        connect(watcher, &QDBusPendingCallWatcher::finished, this, [&setting](QDBusPendingCallWatcher* answered) {
            const QDBusPendingReply<QDBusVariant> reply = *answered;
            if (reply.isValid())
                take(setting, reply.value().variant());
            answered->deleteLater();
        });
    }

public Q_SLOTS:
    void settingChanged(const QString& group, const QString& key, const QDBusVariant& value)
    {
        for (DesktopSetting& setting : settings) {
            if (group == setting.group && key == setting.key)
                take(setting, value.variant());
        }
    }
};

} // namespace

bool isReduced()
{
    static const bool asked = qEnvironmentVariableIntValue("PELGRA_REDUCED_MOTION") == 1;
    if (asked || std::any_of(settings.begin(), settings.end(), [](const auto& setting) { return setting.isOn; }))
        return true;
    return qApp && qApp->style() && qApp->style()->styleHint(QStyle::SH_Widget_Animation_Duration) == 0;
}

void followDesktop(QObject* context)
{
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected())
        return;
    // The bus looks up a slot's types by name, and does not connect it while one is not registered (Qt 6.4).
    qRegisterMetaType<QDBusVariant>();
    auto* const listener = new PortalListener(context);
    bus.connect(portalService, portalPath, portalInterface, QStringLiteral("SettingChanged"), listener,
                SLOT(settingChanged(QString, QString, QDBusVariant)));
    for (DesktopSetting& setting : settings)
        listener->ask(setting);
}

} // namespace Pelgra::Motion

#include "Motion.moc"
