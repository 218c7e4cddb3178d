#include "Desktop/JournalLog.h"

#include <QByteArray>
#include <QString>
#include <QtGlobal>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <iterator>

#include <sys/socket.h>
#include <sys/un.h>
#include <syslog.h>
#include <unistd.h>

namespace Pelgra::JournalLog {

namespace {

// The journal's native protocol (systemd, "Native Journal Protocol"): fields in one datagram.
constexpr char journalSocket[] = "/run/systemd/journal/socket";

int journal = -1;

int priorityOf(QtMsgType type)
{
    switch (type) {
    case QtDebugMsg:
        return LOG_DEBUG;
    case QtInfoMsg:
        return LOG_INFO;
    case QtWarningMsg:
        return LOG_WARNING;
    case QtCriticalMsg:
        return LOG_ERR;
    case QtFatalMsg:
        return LOG_CRIT;
    }
    return LOG_INFO;
}

/// A field whose value may hold line ends: name, line end, length as 64 bits little-endian, value, line end.
QByteArray field(const char* name, const QByteArray& value)
{
    QByteArray bytes(name);
    bytes += '\n';
    const auto size = static_cast<std::uint64_t>(value.size());
    for (int shift = 0; shift < 64; shift += 8)
        bytes += static_cast<char>((size >> shift) & 0xFF);
    return bytes + value + '\n';
}

void sendToJournal(QtMsgType type, const QMessageLogContext& context, const QString& message)
{
    const QByteArray datagram = field("MESSAGE", message.toUtf8())
        + field("PRIORITY", QByteArray::number(priorityOf(type))) + field("SYSLOG_IDENTIFIER", "pelgra")
        + field("PELGRA_CATEGORY", context.category);
    if (send(journal, datagram.constData(), static_cast<std::size_t>(datagram.size()), MSG_NOSIGNAL | MSG_DONTWAIT) < 0
        && type >= QtWarningMsg)
        fprintf(stderr, "%s\n", message.toUtf8().constData());
}

bool connectToJournal()
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    static_assert(sizeof journalSocket <= sizeof address.sun_path);
    std::copy(std::begin(journalSocket), std::end(journalSocket), address.sun_path);
    journal = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (journal >= 0 && connect(journal, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0)
        return true;
    if (journal >= 0)
        close(journal);
    journal = -1;
    return false;
}

} // namespace

void install(bool verbose)
{
    if (verbose || isatty(STDERR_FILENO) || qEnvironmentVariableIsSet("QT_LOGGING_RULES") || !connectToJournal())
        return;
    qInstallMessageHandler(sendToJournal);
}

} // namespace Pelgra::JournalLog
