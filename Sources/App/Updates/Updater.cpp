#include "App/Updates/Updater.h"

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
