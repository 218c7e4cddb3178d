#include "App/TrayHost.h"

#include "Platform/Platform.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>

#include <utility>

namespace Pelgra {

namespace {

const QString watcherService = QStringLiteral("org.kde.StatusNotifierWatcher");

} // namespace

TrayHost::TrayHost(Platform& platform, QObject* parent)
    : QObject(parent)
    , m_platform(platform)
    , m_watcher(watcherService, QDBusConnection::sessionBus(), QDBusServiceWatcher::WatchForRegistration)
{
    connect(&m_watcher, &QDBusServiceWatcher::serviceRegistered, this, &TrayHost::tell);
    const auto askThePlatform = [this] {
        if (m_platform.hasTray())
            tell();
    };
    m_platform.onTrayChanged = askThePlatform;
    QMetaObject::invokeMethod(this, askThePlatform, Qt::QueuedConnection);
    askTheBus();
}

TrayHost::~TrayHost()
{
    m_platform.onTrayChanged = nullptr;
}

bool TrayHost::isThere() const
{
    const QDBusConnection bus = QDBusConnection::sessionBus();
    return m_platform.hasTray() || (bus.isConnected() && bus.interface()->isServiceRegistered(watcherService).value());
}

void TrayHost::askTheBus()
{
    const QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected())
        return;
    QDBusMessage question =
        QDBusMessage::createMethodCall(QStringLiteral("org.freedesktop.DBus"), QStringLiteral("/org/freedesktop/DBus"),
                                       QStringLiteral("org.freedesktop.DBus"), QStringLiteral("NameHasOwner"));
    question << watcherService;
    auto* const call = new QDBusPendingCallWatcher(bus.asyncCall(question), this);
    connect(call, &QDBusPendingCallWatcher::finished, this, [this, call] {
        call->deleteLater();
        const QDBusPendingReply<bool> reply = *call;
        if (reply.isValid() && reply.value())
            tell();
    });
}

void TrayHost::tell()
{
    if (!std::exchange(m_isTold, true))
        Q_EMIT available();
}

} // namespace Pelgra
