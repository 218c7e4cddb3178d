#include "Support/BackgroundTask.h"

#include <QSemaphore>
#include <QTest>

#include <tuple>
#include <utility>

#include <sys/resource.h>

using namespace Pelgra;

namespace {

int niceOfThisThread()
{
    return getpriority(PRIO_PROCESS, 0);
}

} // namespace

class BackgroundTaskTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    /// Otherwise a machine whose processors are all at work makes the interface wait for its turn.
    void jobsStandBehindTheInterfaceAndThumbnailsBehindJobs()
    {
        startPaintingThreads();
        int job = -1;
        int utility = -1;
        int painting = -1;
        runInBackground(this, niceOfThisThread, [&](int nice) { job = nice; });
        runInBackground(
            this,
            [] {
                // As the toolkit does when it converts a picture.
                auto* const pool = QThreadPool::globalInstance();
                QSemaphore done;
                int nice = -1;
                pool->start([&] {
                    nice = niceOfThisThread();
                    done.release();
                });
                done.acquire();
                return std::pair(niceOfThisThread(), nice);
            },
            [&](std::pair<int, int> nice) { std::tie(utility, painting) = nice; }, utilityPool());
        QTRY_VERIFY(job >= 0 && utility >= 0);
        const int own = niceOfThisThread();
        QVERIFY(own < job || own == 19);
        QVERIFY(job < utility || job == 19);
        QCOMPARE(painting, own);
    }
};

QTEST_GUILESS_MAIN(BackgroundTaskTest)
#include "BackgroundTaskTest.moc"
