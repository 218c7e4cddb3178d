#pragma once

#include <QFutureWatcher>
#include <QObject>
#include <QPromise>
#include <QRunnable>
#include <QThreadPool>

#include <functional>
#include <memory>
#include <optional>
#include <type_traits>
#include <utility>

namespace Pelgra {

/// The pool for work the user waits for: conversions, tools. A thread for each core, giving way to the interface.
QThreadPool& jobPool();

/// The pool for work that may come later: thumbnails. Never starved by jobs, at lower priority.
QThreadPool& utilityPool();

/// The pool for questions to a disk whose answer the interface waits for, but only for a moment: a disk may never
/// answer.
QThreadPool& lookUpPool();

/// Gives the calling thread, one of the pool's, and all the threads it starts the pool's priority for good. Linux's
/// usual scheduler has nice values instead of thread priorities, so the priority that the toolkit sets for a pool has
/// no effect there.
void takePriorityOf(const QThreadPool& pool);

/// Starts the threads of the toolkit's global pool, for good. Its painting hands parts of larger areas to them and
/// waits, so they must never yield to jobs, as a thread started by a task of the pools above would. Main thread,
/// once.
void startPaintingThreads();

/// Runs `work` on a pool thread and `done` with what it returned on the receiver's thread. If the receiver is gone by
/// then, nothing is called. `work` must not throw and must touch no object of another thread.
template <typename Work, typename Done>
void runInBackground(QObject* receiver, Work work, Done done, QThreadPool& pool = jobPool())
{
    using Value = std::invoke_result_t<Work>;
    // A watcher that is a child of the receiver: QFuture::then with a context object asserts in the worker when the
    // context has gone meanwhile (Qt 6.4).
    auto* const watcher = new QFutureWatcher<std::shared_ptr<Value>>(receiver);
    auto promise = std::make_shared<QPromise<std::shared_ptr<Value>>>();
    QObject::connect(watcher, &QFutureWatcherBase::finished, receiver, [watcher, done = std::move(done)]() mutable {
        watcher->deleteLater();
        if (watcher->future().resultCount() > 0)
            done(std::move(*watcher->result()));
    });
    promise->start();
    watcher->setFuture(promise->future());
    pool.start([promise, &pool, work = std::move(work)]() mutable {
        takePriorityOf(pool);
        promise->addResult(std::make_shared<Value>(work()));
        promise->finish();
    });
}

} // namespace Pelgra
