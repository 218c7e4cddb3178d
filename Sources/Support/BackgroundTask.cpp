#include "Support/BackgroundTask.h"

#include <QThread>

namespace Pelgra {

namespace {

QThreadPool* makePool(QThread::Priority priority)
{
    auto* const pool = new QThreadPool(); // lives as long as the process: its threads may outlast statics
    pool->setMaxThreadCount(QThread::idealThreadCount());
    pool->setThreadPriority(priority);
    return pool;
}

} // namespace

QThreadPool& jobPool()
{
    // Not the toolkit's global pool: its painting hands parts of large areas to that and waits for them, so a window
    // would stand still for as long as jobs fill it.
    static QThreadPool* const pool = makePool(QThread::InheritPriority);
    return *pool;
}

QThreadPool& utilityPool()
{
    static QThreadPool* const pool = makePool(QThread::LowPriority);
    return *pool;
}

} // namespace Pelgra
