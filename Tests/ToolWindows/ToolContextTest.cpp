#include "ToolWindows/Frame/ToolContext.h"
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
        ToolContext context;
        int finishes = 0;
        std::optional<JobOutcome> last;
        context.setOnFinish([&](std::optional<JobOutcome> outcome) {
            ++finishes;
            last = std::move(outcome);
            QVERIFY(!context.isRunning());
        });
        QSemaphore gate;
        std::atomic_int starts = 0;
        QThread* worker = nullptr;
        const Job job = [&] {
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
        QCOMPARE(std::get<JobResult>(*last).displayName, std::string("out.pdf"));
    }

    void everyFailureIsHandedOn()
    {
        ToolContext context;
        std::optional<JobOutcome> last;
        context.setOnFinish([&](std::optional<JobOutcome> outcome) { last = std::move(outcome); });
        context.run([]() -> JobResult { throw EngineError::noPages(); }, "in.pdf");
        QTRY_VERIFY(last.has_value());
        QVERIFY(std::get<EngineError>(*last) == EngineError::noPages());

        last.reset();
        context.run([]() -> JobResult { throw std::runtime_error("unforeseen"); }, "in.pdf");
        QTRY_VERIFY(last.has_value());
        QVERIFY(std::get<EngineError>(*last) == EngineError::unreadable("in.pdf"));
    }

    void aDeletedContextHearsNothing()
    {
        QSemaphore gate;
        bool heard = false;
        auto context = std::make_unique<ToolContext>();
        context->setOnFinish([&](std::optional<JobOutcome>) { heard = true; });
        context->run(
            [&] {
                gate.acquire();
                return JobResult("out");
            },
            "in");
        context.reset();
        gate.release();
        jobPool().waitForDone();
        QCoreApplication::processEvents();
        QVERIFY(!heard);
    }
};

QTEST_GUILESS_MAIN(ToolContextTest)
#include "ToolContextTest.moc"
