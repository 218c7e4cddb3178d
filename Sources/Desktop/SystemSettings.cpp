#include "Desktop/SystemSettings.h"

#include "Desktop/LoginItem.h"

#include <QDesktopServices>
#include <QFileInfo>
#include <QProcess>
#include <QStandardPaths>
#include <QUrl>

namespace Pelgra::SystemSettings {

void openStartupPrograms()
{
    // Each comes with its own desktop, so the first that is installed is this desktop's.
    static const QList<QStringList> programs{
        {QStringLiteral("systemsettings"), QStringLiteral("kcm_autostart")},
        {QStringLiteral("xfce4-session-settings")},
        {QStringLiteral("cinnamon-settings"), QStringLiteral("startup")},
        {QStringLiteral("mate-session-properties")},
        {QStringLiteral("lxqt-config-session")},
        {QStringLiteral("gnome-tweaks")},
        {QStringLiteral("gnome-control-center"), QStringLiteral("applications")},
    };
    for (const QStringList& program : programs) {
        if (!QStandardPaths::findExecutable(program.first()).isEmpty()
            && QProcess::startDetached(program.first(), program.mid(1)))
            return;
    }
    QDesktopServices::openUrl(QUrl::fromLocalFile(QFileInfo(LoginItem::entryFile()).path()));
}

void openLegacyApplications()
{
    QProcess::startDetached(QStringLiteral("systemsettings"), {QStringLiteral("kcm_kwinxwayland")});
}

} // namespace Pelgra::SystemSettings
