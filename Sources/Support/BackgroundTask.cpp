#include "Support/BackgroundTask.h"

#include <QThread>

namespace Pelgra {

QThreadPool& jobPool()
{
    return *QThreadPool::globalInstance();
}

QThreadPool& utilityPool()
{
    static QThreadPool* const pool = [] {
        auto* const created = new QThreadPool(); // lives as long as the process: its threads may outlast statics
        created->setMaxThreadCount(QThread::idealThreadCount());
        created->setThreadPriority(QThread::LowPriority);
        return created;
    }();
    return *pool;
}

} // namespace Pelgra
