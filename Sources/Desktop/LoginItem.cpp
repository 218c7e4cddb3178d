#include "Desktop/LoginItem.h"

#include "Desktop/BackgroundPortal.h"
#include "Support/PreferencesStore.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <QStandardPaths>
#include <QStringList>

#include <utility>

namespace Pelgra::LoginItem {

namespace {

const QString fileName = QStringLiteral("org.pelgra.Pelgra.desktop");

/// The values of the entry's main group, or none where there is no entry.
std::optional<QHash<QString, QString>> readEntry()
{
    QFile file(entryFile());
    if (!file.open(QIODevice::ReadOnly))
        return std::nullopt;
    QHash<QString, QString> values;
    bool inGroup = false;
    constexpr qint64 sizeLimit = 64 * 1024;
    for (const QByteArray& line : file.read(sizeLimit).split('\n')) {
        const QString text = QString::fromUtf8(line).trimmed();
        const qsizetype equals = text.indexOf(u'=');
        if (text.startsWith(u'['))
            inGroup = text == QStringLiteral("[Desktop Entry]");
        else if (inGroup && equals > 0 && !text.startsWith(u'#'))
            values.insert(text.left(equals).trimmed(), text.mid(equals + 1).trimmed());
    }
    return values;
}

/// The program of an Exec line: its first word, unquoted.
QString programOf(const QString& exec)
{
    if (!exec.startsWith(u'"'))
        return exec.section(u' ', 0, 0);
    QString program;
    for (qsizetype at = 1; at < exec.size() && exec[at] != u'"'; ++at) {
        if (exec[at] == u'\\' && at + 1 < exec.size())
            ++at;
        program += exec[at];
    }
    return program;
}

/// A path as one argument of an Exec line: quoted, with the characters that the quoting rule names escaped, and percent
/// signs doubled. The desktop file's own escaping of backslashes comes on top.
QString quotedForExec(const QString& path)
{
    QString quoted;
    for (const QChar c : path) {
        if (c == u'"' || c == u'`' || c == u'$' || c == u'\\')
            quoted += u'\\';
        quoted += c;
        if (c == u'%')
            quoted += u'%';
    }
    quoted.replace(QStringLiteral("\\"), QStringLiteral("\\\\"));
    return u'"' + quoted + u'"';
}

bool isSwitchedOff(const QHash<QString, QString>& entry)
{
    return entry.value(QStringLiteral("Hidden")) == QStringLiteral("true")
        || entry.value(QStringLiteral("X-GNOME-Autostart-enabled")) == QStringLiteral("false");
}

bool programExists(const QHash<QString, QString>& entry)
{
    QString exec = entry.value(QStringLiteral("Exec"));
    exec.replace(QStringLiteral("\\\\"), QStringLiteral("\\"));
    QString program = programOf(exec);
    program.replace(QStringLiteral("%%"), QStringLiteral("%"));
    return !program.isEmpty()
        && (program.startsWith(u'/') ? QFileInfo(program).isExecutable()
                                     : !QStandardPaths::findExecutable(program).isEmpty());
}

QByteArray entryText()
{
    const QString program = QCoreApplication::applicationFilePath();
    QString escaped = program;
    escaped.replace(QStringLiteral("\\"), QStringLiteral("\\\\"));
    return QStringLiteral("[Desktop Entry]\n"
                          "Type=Application\n"
                          "Name=Pelgra\n"
                          "Comment=Convert files while you drag them\n"
                          "Exec=%1 --background\n"
                          "TryExec=%2\n" // once Pelgra is removed the session ignores the entry
                          "Icon=org.pelgra.Pelgra\n"
                          "Terminal=false\n"
                          "X-GNOME-Autostart-enabled=true\n")
        .arg(quotedForExec(program), escaped)
        .toUtf8();
}

std::optional<QString> writeEntry()
{
    const QString path = entryFile();
    if (!QDir().mkpath(QFileInfo(path).path()))
        return QStringLiteral("The folder “%1” could not be made.").arg(QFileInfo(path).path());
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(entryText()) < 0 || !file.commit())
        return file.errorString();
    return std::nullopt;
}

Status statusOnDisk()
{
    const auto entry = readEntry();
    if (!entry)
        return Status::absent;
    if (!programExists(*entry))
        return Status::notFound;
    return isSwitchedOff(*entry) ? Status::switchedOff : Status::enabled;
}

std::optional<QString> removeEntry()
{
    const Status now = statusOnDisk();
    if (now == Status::notFound || now == Status::absent)
        return std::nullopt;
    QFile file(entryFile());
    if (!file.remove())
        return file.errorString();
    return std::nullopt;
}

// What the portal answered last, in the user's settings.
const QString portalKey = QStringLiteral("launchAtLoginPortal");
const QString portalEnabled = QStringLiteral("enabled");
const QString portalRefused = QStringLiteral("refused");

FilePreferencesStore portalMemory()
{
    return FilePreferencesStore(FilePreferencesStore::standardFile());
}

Status lastPortalAnswer()
{
    const QString answer = portalMemory().value(portalKey).toString();
    if (answer == portalEnabled)
        return Status::enabled;
    return answer == portalRefused ? Status::switchedOff : Status::absent;
}

void askPortal(bool enabled, QObject* context, Done done)
{
    using BackgroundPortal::Answer;
    if (!enabled && lastPortalAnswer() == Status::absent) {
        done(std::nullopt);
        return;
    }
    BackgroundPortal::requestAutostart(
        enabled, context, [enabled, done = std::move(done)](Answer answer, const QString& reason) {
            if (answer == Answer::failed) {
                done(reason);
                return;
            }
            if (enabled)
                portalMemory().setValue(portalKey, answer == Answer::done ? portalEnabled : portalRefused);
            else if (answer == Answer::done)
                portalMemory().setValue(portalKey, QString());
            done(std::nullopt);
        });
}

} // namespace

QString entryFile()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) + QStringLiteral("/autostart/")
        + fileName;
}

Status status()
{
    return BackgroundPortal::isNeeded() ? lastPortalAnswer() : statusOnDisk();
}

void setEnabled(bool enabled, QObject* context, Done done)
{
    if (BackgroundPortal::isNeeded())
        askPortal(enabled, context, std::move(done));
    else
        done(enabled ? writeEntry() : removeEntry());
}

} // namespace Pelgra::LoginItem
