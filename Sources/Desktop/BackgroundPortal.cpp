#include "Desktop/BackgroundPortal.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QFile>
#include <QStringList>
#include <QUuid>
#include <QVariantMap>

#include <utility>

namespace Pelgra::BackgroundPortal {

namespace {

const QString service = QStringLiteral("org.freedesktop.portal.Desktop");
const QString path = QStringLiteral("/org/freedesktop/portal/desktop");
const QString interface = QStringLiteral("org.freedesktop.portal.Background");
const QString requestInterface = QStringLiteral("org.freedesktop.portal.Request");
constexpr uint responseCancelled = 1;

/// One question to the portal: its answer comes later, as a signal of an object of its own.
class PortalRequest : public QObject {
    Q_OBJECT

public:
    PortalRequest(QObject* context, std::function<void(Answer, const QString&)> done)
        : QObject(context)
        , m_done(std::move(done))
    {
    }

    void ask(bool autostart)
    {
        QDBusConnection bus = QDBusConnection::sessionBus();
        if (!bus.isConnected()) {
            finish(Answer::failed, QStringLiteral("There is no session bus."));
            return;
        }
        m_autostart = autostart;
        const QString token = QStringLiteral("pelgra_") + QUuid::createUuid().toString(QUuid::Id128);
        // Listens, before asking, to the object whose name the portal makes from the sender and the token.
        QString sender = bus.baseService().mid(1);
        sender.replace(u'.', u'_');
        bus.connect(service, QStringLiteral("%1/request/%2/%3").arg(path, sender, token), requestInterface,
                    QStringLiteral("Response"), this, SLOT(responded(uint, QVariantMap)));
        QDBusMessage call =
            QDBusMessage::createMethodCall(service, path, interface, QStringLiteral("RequestBackground"));
        call << QString()
             << QVariantMap{
                    {QStringLiteral("handle_token"), token},
                    {QStringLiteral("reason"), QStringLiteral("Pelgra waits in the tray for files to be dragged.")},
                    {QStringLiteral("autostart"), autostart},
                    {QStringLiteral("commandline"),
                     QStringList{QStringLiteral("pelgra-desktop"), QStringLiteral("--background")}},
                };
        auto* const watcher = new QDBusPendingCallWatcher(bus.asyncCall(call), this);
        connect(watcher, &QDBusPendingCallWatcher::finished, this, [this](QDBusPendingCallWatcher* answered) {
            if (answered->isError())
                finish(Answer::failed, answered->error().message());
        });
    }

public Q_SLOTS:
    void responded(uint response, const QVariantMap& results)
    {
        if (response > responseCancelled)
            finish(Answer::failed, QStringLiteral("The desktop could not change what starts with the session."));
        else if (response == responseCancelled || results.value(QStringLiteral("autostart")).toBool() != m_autostart)
            finish(Answer::refused, {});
        else
            finish(Answer::done, {});
    }

private:
    void finish(Answer answer, const QString& reason)
    {
        if (const auto done = std::exchange(m_done, nullptr))
            done(answer, reason);
        deleteLater();
    }

    std::function<void(Answer, const QString&)> m_done;
    bool m_autostart = false;
};

} // namespace

bool isNeeded()
{
    return QFile::exists(QStringLiteral("/.flatpak-info")) || qEnvironmentVariableIsSet("SNAP_INSTANCE_NAME");
}

void requestAutostart(bool enabled, QObject* context, std::function<void(Answer, const QString&)> done)
{
    auto* const request = new PortalRequest(context, std::move(done));
    request->ask(enabled);
}

} // namespace Pelgra::BackgroundPortal

#include "BackgroundPortal.moc"
