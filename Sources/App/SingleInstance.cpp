#include "App/SingleInstance.h"

#include "Support/Logging.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusMetaType>

namespace Pelgra {

namespace {

const QString serviceName = QStringLiteral("org.pelgra.Pelgra");
const QString objectPath = QStringLiteral("/org/pelgra/Pelgra");
const QString toolsKind = QStringLiteral("tools");
constexpr int answerMilliseconds = 15000; // it may still be starting

} // namespace

SingleInstance::SingleInstance(QObject* parent)
    : QObject(parent)
{
    qDBusRegisterMetaType<QByteArrayList>(); // without it neither side can send or read the files
}

bool SingleInstance::isAnotherRunning() const
{
    const QDBusConnection bus = QDBusConnection::sessionBus();
    return bus.isConnected() && bus.interface()->isServiceRegistered(serviceName).value();
}

bool SingleInstance::claim()
{
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected())
        return true;
    // The object first, so that whoever finds the name can call it.
    bus.registerObject(objectPath, this, QDBusConnection::ExportScriptableSlots);
    return bus.registerService(serviceName);
}

bool SingleInstance::forward(WheelKind kind, const Files& files) const
{
    QByteArrayList names;
    for (const auto& file : files)
        names += QByteArray::fromStdString(file.string());
    QDBusMessage call = QDBusMessage::createMethodCall(serviceName, objectPath, serviceName, QStringLiteral("Open"));
    call << (kind == WheelKind::tools ? toolsKind : QStringLiteral("convert")) << QVariant::fromValue(names);
    const QDBusMessage answer = QDBusConnection::sessionBus().call(call, QDBus::Block, answerMilliseconds);
    if (answer.type() == QDBusMessage::ErrorMessage)
        qCWarning(applicationLog, "Another process does not answer: %s", qUtf8Printable(answer.errorMessage()));
    return answer.type() == QDBusMessage::ReplyMessage;
}

void SingleInstance::Open(const QString& kind, const QByteArrayList& files)
{
    Files paths;
    for (const QByteArray& file : files) {
        // Only what forward() sends: absolute paths without a zero byte.
        if (file.startsWith('/') && !file.contains('\0'))
            paths.emplace_back(file.toStdString());
    }
    Q_EMIT openRequested(kind == toolsKind ? WheelKind::tools : WheelKind::convert, paths);
}

} // namespace Pelgra
