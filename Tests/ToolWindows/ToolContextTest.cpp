#include "ToolWindows/Frame/ToolContext.h"
#include "Jobs/RunningJobs.h"
#include "Support/BackgroundTask.h"

#include <QSemaphore>
#include <QSignalSpy>
#include <QTest>
#include <QThread>

#include <stdexcept>

using namespace Pelgra;

class ToolContextTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void cleanup() { jobPool().waitForDone(); }

    void runsOneJobAtATimeOffTheMainThread()
    {
        ToolContext context("Merge PDFs");
        int finishes = 0;
        const std::optional<JobOutcome>& last = context.outcome();
        connect(&context, &ToolContext::finished, this, [&] {
            ++finishes;
            QVERIFY(!context.isRunning());
        });
        QSemaphore gate;
        std::atomic_int starts = 0;
        QThread* worker = nullptr;
        const ToolContext::ToolJob job = [&](const JobControl&) {
            ++starts;
            worker = QThread::currentThread();
            gate.acquire();
            return JobResult("/tmp/out.pdf");
        };
        context.run(job, "in.pdf");
        context.run(job, "in.pdf");
        QVERIFY(context.isRunning());
        context.finishWithoutResult(); // must not close a window whose job runs
        QCOMPARE(finishes, 0);
        gate.release(2);
        QTRY_COMPARE(finishes, 1);
        QCOMPARE(starts.load(), 1);
        QVERIFY(worker != QThread::currentThread());
        QCOMPARE(std::get<JobDone>(*last).results.at(0).displayName, std::string("out.pdf"));
    }

    void everyFailureIsHandedOn()
    {
        ToolContext context("Merge PDFs");
        const std::optional<JobOutcome>& last = context.outcome();
        context.run([](const JobControl&) -> JobResult { throw EngineError::noPages(); }, "in.pdf");
        QTRY_VERIFY(last.has_value());
        QVERIFY(std::get<EngineError>(*last) == EngineError::noPages());

        context.run([](const JobControl&) -> JobResult { throw std::runtime_error("unforeseen"); }, "in.pdf");
        QTRY_VERIFY(!context.isRunning());
        QVERIFY(std::get<EngineError>(*last) == EngineError::unreadable("in.pdf"));
    }

    void aDeletedContextHearsNothing()
    {
        QSemaphore gate;
        bool heard = false;
        auto context = std::make_unique<ToolContext>("Merge PDFs");
        connect(context.get(), &ToolContext::finished, this, [&] { heard = true; });
        context->run(
            [&](const JobControl&) {
                gate.acquire();
                return JobResult("out");
            },
            "in");
        context.reset();
        gate.release();
        jobPool().waitForDone();
        QTRY_COMPARE(RunningJobs::shared().count(), 0); // it counts until its end all the same
        QVERIFY(!heard);
    }

    void aJobIsStoppedLikeEveryOther()
    {
        ToolContext context("Merge PDFs");
        const std::optional<JobOutcome>& last = context.outcome();
        context.run(
            [](const JobControl& control) -> JobResult {
                while (!control.stop.stop_requested())
                    QThread::yieldCurrentThread();
                throw JobCancelled();
            },
            "in.pdf");
        QCOMPARE(RunningJobs::shared().count(), 1);
        RunningJobs::shared().stopAll();
        QTRY_VERIFY(last.has_value());
        QVERIFY(std::holds_alternative<JobCancelled>(*last));
        QVERIFY(!context.isRunning());
    }
};

QTEST_GUILESS_MAIN(ToolContextTest)
#include "ToolContextTest.moc"
