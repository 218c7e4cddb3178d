#include "Desktop/SettingsPortal.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusVariant>
#include <QObject>

#include <utility>

namespace Pelgra::SettingsPortal {

namespace {

const QString service = QStringLiteral("org.freedesktop.portal.Desktop");
const QString path = QStringLiteral("/org/freedesktop/portal/desktop");
const QString interface = QStringLiteral("org.freedesktop.portal.Settings");
constexpr int longestWaitMilliseconds = 500;

QDBusMessage question(const QString& group, const QString& key)
{
    QDBusMessage message = QDBusMessage::createMethodCall(service, path, interface, QStringLiteral("Read"));
    message << group << key;
    return message;
}

/// The answer is wrapped in variants, that of the portal's older method even twice.
QVariant unwrapped(QVariant value)
{
    while (value.canConvert<QDBusVariant>())
        value = value.value<QDBusVariant>().variant();
    return value;
}

/// One setting and who wants to know about it.
class Follower : public QObject {
    Q_OBJECT

public:
    Follower(QString group, QString key, QObject* context, std::function<void(const QVariant&)> tell)
        : QObject(context)
        , m_group(std::move(group))
        , m_key(std::move(key))
        , m_tell(std::move(tell))
    {
    }

    void begin(QDBusConnection bus)
    {
        bus.connect(service, path, interface, QStringLiteral("SettingChanged"), this,
                    SLOT(settingChanged(QString, QString, QDBusVariant)));
        auto* const watcher = new QDBusPendingCallWatcher(bus.asyncCall(question(m_group, m_key)), this);
        connect(watcher, &QDBusPendingCallWatcher::finished, this, [this](QDBusPendingCallWatcher* answered) {
            const QDBusPendingReply<QDBusVariant> reply = *answered;
            if (reply.isValid())
                m_tell(unwrapped(reply.value().variant()));
            answered->deleteLater();
        });
    }

public Q_SLOTS:
    void settingChanged(const QString& group, const QString& key, const QDBusVariant& value)
    {
        if (group == m_group && key == m_key)
            m_tell(unwrapped(value.variant()));
    }

private:
    QString m_group;
    QString m_key;
    std::function<void(const QVariant&)> m_tell;
};

} // namespace

QVariant read(const QString& group, const QString& key)
{
    const QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected())
        return {};
    const QDBusMessage answer = bus.call(question(group, key), QDBus::Block, longestWaitMilliseconds);
    if (answer.type() != QDBusMessage::ReplyMessage || answer.arguments().isEmpty())
        return {};
    return unwrapped(answer.arguments().constFirst());
}

void follow(const QString& group, const QString& key, QObject* context, std::function<void(const QVariant& value)> tell)
{
    const QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected())
        return;
    // The bus looks up a slot's types by name, and does not connect it while one is not registered (Qt 6.4).
    qRegisterMetaType<QDBusVariant>();
    auto* const follower = new Follower(group, key, context, std::move(tell));
    follower->begin(bus);
}

} // namespace Pelgra::SettingsPortal

#include "SettingsPortal.moc"
