#include "App/Updates/Updater.h"

#include "Settings/Preferences.h"

#include <QPointer>

namespace Pelgra {

namespace {

QPointer<UpdaterManaging>& installedUpdater()
{
    static QPointer<UpdaterManaging> updater;
    return updater;
}

} // namespace

UpdaterManaging* Updater::current()
{
    return installedUpdater();
}

void Updater::setCurrent(UpdaterManaging* updater)
{
    installedUpdater() = updater;
}

void Updater::follow(const Preferences& preferences)
{
    QObject::connect(&preferences, &Preferences::checkForUpdatesAutomaticallyChanged, &preferences, [&preferences] {
        if (UpdaterManaging* const updater = current())
            updater->setAutomaticallyChecksForUpdates(preferences.checkForUpdatesAutomatically());
    });
}

void FakeUpdater::setAutomaticallyChecksForUpdates(bool checks)
{
    m_automaticallyChecksForUpdates = checks;
    Q_EMIT changed();
}

void FakeUpdater::setCanCheckForUpdates(bool can)
{
    m_canCheckForUpdates = can;
    Q_EMIT changed();
}

} // namespace Pelgra
