#include "App/Quitting.h"

#include "Jobs/HUDPanel.h"
#include "Jobs/RunningJobs.h"
#include "Support/BackgroundTask.h"
#include "ToolWindows/Frame/ToolWindow.h"
#include "ToolWindows/ToolWindowController.h"

#include <QApplication>
#include <QMessageBox>
#include <QPushButton>
#include <QSemaphore>
#include <QTest>
#include <QTimer>

using namespace Pelgra;
using namespace std::chrono_literals;

namespace {

constexpr int didNotEnd = 77;

/// Runs the event loop from this beginning to its end; didNotEnd where that never comes.
template <typename Begin>
int exitStatusAfter(Begin begin, std::chrono::milliseconds patience = 20s)
{
    QTimer watchdog;
    QObject::connect(&watchdog, &QTimer::timeout, &watchdog, [] { QCoreApplication::exit(didNotEnd); });
    watchdog.start(patience);
    QTimer::singleShot(0, qApp, begin);
    return QCoreApplication::exec();
}

enum class End { success, warning, failure };

/// A job that goes on until the gate opens, and ends as it is told.
void startJob(QSemaphore& gate, End end = End::success, bool obeys = true)
{
    RunningJobs::shared().start(
        "a job", "/a.pdf",
        [&gate, end, obeys](const JobControl& control) {
            while (!gate.tryAcquire(1, 10)) {
                if (obeys && control.stop.stop_requested())
                    throw JobCancelled();
            }
            if (end == End::failure)
                throw EngineError::noPages();
            if (end == End::warning)
                control.warning("One page is missing.");
            return std::vector{JobResult("/a.png")};
        },
        qApp,
        [](const JobOutcome& outcome) {
            if (const auto state = finalState(outcome, "a job"))
                HUDPanel::show(*state, {100, 100});
        });
}

QList<QMessageBox*> questions()
{
    QList<QMessageBox*> open;
    for (QWidget* const widget : QApplication::topLevelWidgets()) {
        if (auto* const box = qobject_cast<QMessageBox*>(widget); box && box->isVisible())
            open += box;
    }
    return open;
}

void answer(const QString& text)
{
    const QList<QMessageBox*> open = questions();
    QCOMPARE(open.size(), 1);
    for (QAbstractButton* const button : open.first()->buttons()) {
        if (button->text() == text)
            return button->click();
    }
    QFAIL("no such button");
}

} // namespace

class QuittingTest : public QObject {
    Q_OBJECT

private:
    int m_completions = 0;

    void openWindows(int count)
    {
        for (int i = 0; i < count; ++i)
            ToolWindowController::present(FileTool::mergePDF, {std::to_string(i)}, [this](auto) { ++m_completions; });
    }

private Q_SLOTS:
    void initTestCase()
    {
        QApplication::setQuitOnLastWindowClosed(false);
        ToolWindowController::setViewFactory(
            [](FileTool, const ToolWindowController::Files&, ToolContext*) { return new QPushButton; });
    }

    void init() { m_completions = 0; }

    void cleanup()
    {
        for (ToolWindowController* controller : ToolWindowController::openControllers())
            controller->finish(std::nullopt);
        for (QMessageBox* const box : questions())
            delete box;
        qDeleteAll(QList<HUDPanel*>(HUDPanel::livePanels()));
        QTRY_COMPARE(RunningJobs::shared().count(), 0);
    }

    void idleWindowsKeepNothingFromEnding_data()
    {
        QTest::addColumn<int>("way");
        QTest::newRow("the user quits") << 0;
        QTest::newRow("the session ends") << 1;
        QTest::newRow("the system ends the process") << 2;
    }
    void idleWindowsKeepNothingFromEnding()
    {
        QFETCH(int, way);
        Quitting quitting;
        openWindows(3);
        const int status = exitStatusAfter([&quitting, way] {
            if (way == 0)
                quitting.requestQuit();
            else if (way == 1)
                QCoreApplication::quit();
            else
                quitting.terminate();
        });
        QCOMPARE(status, 0);
        QCOMPARE(m_completions, 3);
    }

    void jobsOfWindowsAreStoppedToo()
    {
        Quitting quitting;
        openWindows(1);
        QSemaphore gate;
        const int status = exitStatusAfter([&] {
            ToolWindowController::openControllers().front()->context().run(
                [&gate](const JobControl& control) -> JobResult {
                    while (!gate.tryAcquire(1, 10)) {
                        if (control.stop.stop_requested())
                            throw JobCancelled();
                    }
                    return JobResult("/a.pdf");
                },
                "/a.pdf");
            quitting.terminate();
        });
        gate.release();
        QCOMPARE(status, 0);
        QCOMPARE(m_completions, 1);
    }

    void theFarewellIsShort()
    {
        Quitting quitting(300ms);
        QSemaphore gate;
        const int status = exitStatusAfter([&] {
            startJob(gate, End::success, false);
            quitting.terminate();
        });
        const int stillRunning = RunningJobs::shared().count();
        gate.release();
        QCOMPARE(status, 0);
        QCOMPARE(stillRunning, 1);
    }

    void oneQuestionAtATime()
    {
        Quitting quitting;
        QSemaphore gate;
        startJob(gate);
        quitting.requestQuit();
        quitting.requestQuit();
        QCOMPARE(questions().size(), 1);
        answer("Stop and Quit");
        QCOMPARE(exitStatusAfter([] { }), 0);
        gate.release();
    }

    void badNewsIsReadBeforeTheEnd_data()
    {
        QTest::addColumn<int>("end");
        QTest::newRow("failure") << static_cast<int>(End::failure);
        QTest::newRow("warning") << static_cast<int>(End::warning);
    }
    void badNewsIsReadBeforeTheEnd()
    {
        QFETCH(int, end);
        Quitting quitting;
        QSemaphore gate;
        startJob(gate, static_cast<End>(end));
        quitting.requestQuit();
        answer("Finish, Then Quit");
        bool wasShown = false;
        const int status = exitStatusAfter([&] {
            gate.release();
            QTRY_COMPARE(RunningJobs::shared().count(), 0);
            QCOMPARE(HUDPanel::livePanels().size(), 1);
            const HUDPanel* const panel = HUDPanel::livePanels().first();
            wasShown = !std::holds_alternative<HUDWorking>(panel->state());
            connect(panel, &QObject::destroyed, this, [&] { gate.release(); });
            panel->findChild<QTimer*>("dismissal")->setInterval(0);
        });
        QCOMPARE(status, 0);
        QVERIFY(wasShown);
        QVERIFY(gate.tryAcquire()); // the panel had its time
    }

    void aSuccessNeedsNoReader()
    {
        Quitting quitting;
        QSemaphore gate;
        startJob(gate);
        quitting.requestQuit();
        answer("Finish, Then Quit");
        QCOMPARE(exitStatusAfter([&] { gate.release(); }), 0);
        QCOMPARE(HUDPanel::livePanels().size(), 1);
    }

    void aWheelAloneEndsWithItsLastWindow()
    {
        Quitting quitting;
        openWindows(2);
        const int status = exitStatusAfter([&] {
            quitting.quitWhenNothingIsLeft();
            for (ToolWindowController* const controller : ToolWindowController::openControllers())
                controller->window().close();
        });
        QCOMPARE(status, 0);
        QCOMPARE(m_completions, 2);
    }
};

QTEST_MAIN(QuittingTest)
#include "QuittingTest.moc"
