#include "Support/BackgroundTask.h"

#include <QSemaphore>
#include <QThread>

#include <memory>

#include <sys/resource.h>

namespace Pelgra {

namespace {

// Each step of nice is a factor of 1.25 in the share of a contended processor.
constexpr int niceOfJobs = 5;
constexpr int niceOfUtilities = 10;

constexpr int longestStartMilliseconds = 200;

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
    // would freeze for as long as jobs fill it.
    static QThreadPool* const pool = makePool(QThread::LowPriority);
    return *pool;
}

QThreadPool& utilityPool()
{
    static QThreadPool* const pool = makePool(QThread::LowestPriority);
    return *pool;
}

QThreadPool& lookUpPool()
{
    static QThreadPool* const pool = makePool(QThread::InheritPriority);
    return *pool;
}

void takePriorityOf(const QThreadPool& pool)
{
    if (pool.threadPriority() == QThread::InheritPriority)
        return;
    // With who = 0 the system call means the calling thread (setpriority(2), C library/kernel differences).
    static thread_local const int refused =
        setpriority(PRIO_PROCESS, 0, pool.threadPriority() == QThread::LowestPriority ? niceOfUtilities : niceOfJobs);
    Q_UNUSED(refused) // an administrator may forbid it; then all threads compete as equals
}

void startPaintingThreads()
{
    QThreadPool& pool = *QThreadPool::globalInstance();
    pool.setExpiryTimeout(-1);
    // Each task holds its thread until all are there. Not ended with waitForDone(), which ends the threads as well.
    struct Gate {
        QSemaphore begun;
        QSemaphore mayEnd;
    };
    const auto gate = std::make_shared<Gate>();
    const int threads = pool.maxThreadCount();
    for (int i = 0; i < threads; ++i) {
        pool.start([gate] {
            gate->begun.release();
            gate->mayEnd.acquire();
        });
    }
    gate->begun.tryAcquire(threads, longestStartMilliseconds); // the system may allow fewer
    gate->mayEnd.release(threads);
}

} // namespace Pelgra
