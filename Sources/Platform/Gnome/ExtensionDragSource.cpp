#include "Platform/Gnome/ExtensionDragSource.h"

#include "Platform/Gnome/NativePoints.h"
#include "Support/Logging.h"

#include <QDBusConnectionInterface>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusReply>

namespace Pelgra {

namespace {

const QString shell = QStringLiteral("org.gnome.Shell");
const QString shellPath = QStringLiteral("/org/gnome/Shell");
const QString extensions = QStringLiteral("org.gnome.Shell.Extensions");
const QString extension = QStringLiteral("drags@pelgra.org");
const QString listener = QStringLiteral("org.pelgra.Pelgra");
const QString watchPath = QStringLiteral("/org/pelgra/DragWatch");
const QString watchInterface = QStringLiteral("org.pelgra.DragWatch1");
constexpr int patienceMilliseconds = 500;

// The shell's numbers.
constexpr int stateOn = 1;
constexpr int stateFailed = 3;
constexpr int stateOutOfDate = 4;

ExtensionDragSource::State stateOf(const QVariantMap& description)
{
    if (description.isEmpty())
        return ExtensionDragSource::State::absent;
    switch (description.value(QStringLiteral("state")).toInt()) {
    case stateOn:
        return ExtensionDragSource::State::on;
    case stateFailed:
    case stateOutOfDate:
        return ExtensionDragSource::State::broken;
    default:
        return ExtensionDragSource::State::off;
    }
}

} // namespace

ExtensionDragSource::ExtensionDragSource(const QDBusConnection& bus, QObject* parent)
    : QObject(parent)
    , m_bus(bus)
    , m_shell(shell, bus, QDBusServiceWatcher::WatchForOwnerChange)
{
    connect(&m_shell, &QDBusServiceWatcher::serviceOwnerChanged, this,
            [this](const QString&, const QString&, const QString& owner) {
                m_watch.reset();
                if (!owner.isEmpty())
                    askState();
                if (onNews)
                    onNews();
                if (onStateChanged)
                    onStateChanged();
            });
    connectSignals();
    askState();
}

void ExtensionDragSource::connectSignals()
{
    for (const char* signal : {"Watching", "Started", "Files", "Sample", "Ended"})
        m_bus.connect(shell, watchPath, watchInterface, QLatin1String(signal), this, SLOT(told(QDBusMessage)));
    m_bus.connect(shell, shellPath, extensions, QStringLiteral("ExtensionStateChanged"), this,
                  SLOT(stateTold(QString, QVariantMap)));
}

QDBusMessage ExtensionDragSource::question(const QString& method) const
{
    QDBusMessage call = QDBusMessage::createMethodCall(shell, shellPath, extensions, method);
    call.setAutoStartService(false);
    return call << extension;
}

void ExtensionDragSource::askState()
{
    auto* const watcher =
        new QDBusPendingCallWatcher(m_bus.asyncCall(question(QStringLiteral("GetExtensionInfo"))), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this](QDBusPendingCallWatcher* answered) {
        const QDBusPendingReply<QVariantMap> reply = *answered;
        if (reply.isValid())
            setState(reply.value());
        answered->deleteLater();
    });
}

ExtensionDragSource::State ExtensionDragSource::stateNow()
{
    if (m_state == State::unknown && m_bus.isConnected()) {
        const QDBusReply<QVariantMap> reply =
            m_bus.call(question(QStringLiteral("GetExtensionInfo")), QDBus::Block, patienceMilliseconds);
        if (reply.isValid())
            m_state = stateOf(reply.value());
    }
    return m_state;
}

bool ExtensionDragSource::isListener() const
{
    return m_bus.isConnected() && m_bus.interface()->serviceOwner(listener).value() == m_bus.baseService();
}

void ExtensionDragSource::switchOn()
{
    m_bus.asyncCall(question(QStringLiteral("EnableExtension"))); // what comes of it is told as a new state
}

void ExtensionDragSource::stateTold(const QString& uuid, const QVariantMap& description)
{
    if (uuid == extension)
        setState(description);
}

void ExtensionDragSource::setState(const QVariantMap& description)
{
    m_state = stateOf(description);
    if (onStateChanged)
        onStateChanged();
}

void ExtensionDragSource::told(const QDBusMessage& signal)
{
    const bool wasWatching = m_watch.isWatching();
    const bool isNews = m_watch.take(signal.member().toStdString(), signal.arguments());
    if (wasWatching != m_watch.isWatching()) {
        qCInfo(dragLog, "The extension of GNOME Shell %s drags", wasWatching ? "no longer tells of" : "tells of");
        if (onStateChanged)
            onStateChanged();
    }
    if (!isNews)
        return;
    if (signal.member() == QLatin1String("Started"))
        qCDebug(dragLog, "A drag may have begun, says the extension");
    if (onNews)
        onNews();
}

std::optional<QPoint> ExtensionDragSource::pointer() const
{
    const std::optional<DragWatch::Place> place = m_watch.place();
    return place ? std::optional(NativePoints::logicalAt(place->x, place->y)) : std::nullopt;
}

} // namespace Pelgra
