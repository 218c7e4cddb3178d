#include "Platform/Gnome/ShortcutsPortal.h"

#include "Support/Logging.h"

#include <QDBusArgument>
#include <QDBusMetaType>
#include <QDBusPendingCallWatcher>
#include <QList>
#include <QUuid>

#include <utility>

namespace Pelgra {

/// A shortcut as the portal writes it.
struct PortalShortcut {
    QString id;
    QVariantMap properties;
};

QDBusArgument& operator<<(QDBusArgument& argument, const PortalShortcut& shortcut)
{
    argument.beginStructure();
    argument << shortcut.id << shortcut.properties;
    argument.endStructure();
    return argument;
}

const QDBusArgument& operator>>(const QDBusArgument& argument, PortalShortcut& shortcut)
{
    argument.beginStructure();
    argument >> shortcut.id >> shortcut.properties;
    argument.endStructure();
    return argument;
}

} // namespace Pelgra

Q_DECLARE_METATYPE(Pelgra::PortalShortcut)

namespace Pelgra {

namespace {

const QString service = QStringLiteral("org.freedesktop.portal.Desktop");
const QString path = QStringLiteral("/org/freedesktop/portal/desktop");
const QString interface = QStringLiteral("org.freedesktop.portal.GlobalShortcuts");
const QString registry = QStringLiteral("org.freedesktop.host.portal.Registry");
const QString requestInterface = QStringLiteral("org.freedesktop.portal.Request");
const QString applicationId = QStringLiteral("org.pelgra.Pelgra");
const QString convertId = QStringLiteral("convert");
const QString toolsId = QStringLiteral("tools");
const QString shortcutsResult = QStringLiteral("shortcuts");

PortalShortcut wish(const QString& id, const QString& description, const QString& trigger)
{
    return {id, {{QStringLiteral("description"), description}, {QStringLiteral("preferred_trigger"), trigger}}};
}

QString newToken()
{
    return QStringLiteral("pelgra_") + QUuid::createUuid().toString(QUuid::Id128);
}

} // namespace

// A connection of its own: the portal takes the name of a program only before any other call on its connection.
ShortcutsPortal::ShortcutsPortal(QObject* parent)
    : QObject(parent)
    , m_bus(QDBusConnection::connectToBus(QDBusConnection::SessionBus, QStringLiteral("pelgra-shortcuts")))
{
    qDBusRegisterMetaType<PortalShortcut>();
    qDBusRegisterMetaType<QList<PortalShortcut>>();
}

void ShortcutsPortal::bind()
{
    if (!m_bus.isConnected() || m_isAsking)
        return;
    m_isAsking = true;
    if (m_session.isEmpty())
        registerApplication();
    else
        bindInSession();
}

void ShortcutsPortal::registerApplication()
{
    m_bus.connect(service, path, interface, QStringLiteral("Activated"), this,
                  SLOT(activated(QDBusObjectPath, QString, qulonglong, QVariantMap)));
    m_bus.connect(service, path, interface, QStringLiteral("ShortcutsChanged"), this, SLOT(changed(QDBusMessage)));
    QDBusMessage call = QDBusMessage::createMethodCall(service, path, registry, QStringLiteral("Register"));
    call << applicationId << QVariantMap();
    auto* const watcher = new QDBusPendingCallWatcher(m_bus.asyncCall(call), this);
    // Refused where the program is known already, by the unit it was started in.
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this](QDBusPendingCallWatcher* answered) {
        answered->deleteLater();
        makeSession();
    });
}

/// Listens, before asking, to the object whose name the portal makes from the sender and the token; the token.
QString ShortcutsPortal::follow(const char* slot)
{
    const QString token = newToken();
    QString sender = m_bus.baseService().mid(1);
    sender.replace(u'.', u'_');
    m_bus.connect(service, QStringLiteral("%1/request/%2/%3").arg(path, sender, token), requestInterface,
                  QStringLiteral("Response"), this, slot);
    return token;
}

void ShortcutsPortal::makeSession()
{
    QDBusMessage call = QDBusMessage::createMethodCall(service, path, interface, QStringLiteral("CreateSession"));
    call << QVariantMap{{QStringLiteral("handle_token"), follow(SLOT(sessionMade(uint, QVariantMap)))},
                        {QStringLiteral("session_handle_token"), newToken()}};
    auto* const watcher = new QDBusPendingCallWatcher(m_bus.asyncCall(call), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this](QDBusPendingCallWatcher* answered) {
        answered->deleteLater();
        if (!answered->isError())
            return;
        qCInfo(settingsLog, "The desktop gives no shortcuts: %s", qUtf8Printable(answered->error().message()));
        m_isAsking = false;
        if (onChanged)
            onChanged();
    });
}

void ShortcutsPortal::sessionMade(uint response, const QVariantMap& results)
{
    m_session = response == 0 ? results.value(QStringLiteral("session_handle")).toString() : QString();
    if (!m_session.isEmpty())
        bindInSession();
    else
        m_isAsking = false;
}

void ShortcutsPortal::bindInSession()
{
    QDBusMessage call = QDBusMessage::createMethodCall(service, path, interface, QStringLiteral("BindShortcuts"));
    const QList<PortalShortcut> wishes{
        wish(convertId, QStringLiteral("Convert dragged files"), QStringLiteral("CTRL+ALT+c")),
        wish(toolsId, QStringLiteral("PDF tools for dragged files"), QStringLiteral("CTRL+ALT+p")),
    };
    call << QVariant::fromValue(QDBusObjectPath(m_session)) << QVariant::fromValue(wishes) << QString()
         << QVariantMap{{QStringLiteral("handle_token"), follow(SLOT(answered(QDBusMessage)))}};
    m_bus.asyncCall(call);
}

void ShortcutsPortal::answered(const QDBusMessage& response)
{
    m_isAsking = false;
    // The code of the response says failure even where the shortcuts were given (GNOME 48); the list tells.
    if (response.arguments().size() == 2)
        take(qdbus_cast<QVariantMap>(response.arguments().at(1)).value(shortcutsResult));
}

void ShortcutsPortal::changed(const QDBusMessage& signal)
{
    if (signal.arguments().size() == 2 && qdbus_cast<QDBusObjectPath>(signal.arguments().at(0)).path() == m_session)
        take(signal.arguments().at(1));
}

void ShortcutsPortal::take(const QVariant& shortcuts)
{
    m_convertTrigger.clear();
    m_toolsTrigger.clear();
    for (const PortalShortcut& shortcut : qdbus_cast<QList<PortalShortcut>>(shortcuts)) {
        const QString trigger = shortcut.properties.value(QStringLiteral("trigger_description")).toString();
        if (shortcut.id == convertId)
            m_convertTrigger = trigger;
        else if (shortcut.id == toolsId)
            m_toolsTrigger = trigger;
    }
    qCInfo(settingsLog, "Shortcuts of the desktop: “%s” and “%s”", qUtf8Printable(m_convertTrigger),
           qUtf8Printable(m_toolsTrigger));
    if (onChanged)
        onChanged();
}

void ShortcutsPortal::activated(const QDBusObjectPath& session, const QString& id, qulonglong, const QVariantMap&)
{
    if (session.path() != m_session || !onActivated)
        return;
    if (id == convertId)
        onActivated(Shortcut::convert);
    else if (id == toolsId)
        onActivated(Shortcut::tools);
}

} // namespace Pelgra
