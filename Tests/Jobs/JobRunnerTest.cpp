#include "Jobs/JobRunner.h"

#include "../ToolWindows/SmallFiles.h"
#include "Jobs/HUDPanel.h"
#include "Jobs/RunningJobs.h"
#include "Settings/Preferences.h"
#include "Support/BackgroundTask.h"

#include <QPainter>
#include <QPointer>
#include <QRandomGenerator>
#include <QRegularExpression>
#include <QSemaphore>
#include <QSignalSpy>
#include <QTest>

#include <thread>

using namespace Pelgra;

namespace {

constexpr int longestPainting = 20000; // milliseconds

QStringList messages;

void keepMessage(QtMsgType, const QMessageLogContext& context, const QString& message)
{
    if (QLatin1String(context.category) == QLatin1String("pelgra.jobs"))
        messages += message;
}

QString textOf(const HUDState& state)
{
    if (const auto* working = std::get_if<HUDWorking>(&state))
        return working->text;
    if (const auto* done = std::get_if<HUDDone>(&state))
        return done->text + (done->secondText ? u'\n' + *done->secondText : QString());
    const auto& failed = std::get<HUDFailed>(state);
    return failed.title + u'\n' + failed.message;
}

} // namespace

class JobRunnerTest : public QObject {
    Q_OBJECT

private:
    using Files = JobRunner::Files;

    std::unique_ptr<SmallFiles> m_files;
    std::unique_ptr<Preferences> m_preferences;
    std::unique_ptr<JobRunner> m_runner;
    QtMessageHandler m_previous = nullptr;
    std::vector<JobRunner::ToolCompletion> m_presented;

    /// The texts of the panel before and after the job.
    QStringList run(const WheelPetal& petal, const Files& files)
    {
        m_runner->run(petal, files, {200, 200});
        QStringList texts;
        if (HUDPanel::livePanels().isEmpty())
            return texts;
        const QPointer<HUDPanel> panel = HUDPanel::livePanels().last();
        texts += textOf(panel->state());
        [&] {
            QTRY_COMPARE(RunningJobs::shared().count(), 0);
        }();
        return texts += textOf(panel->state());
    }

private Q_SLOTS:
    void init()
    {
        messages.clear();
        m_previous = qInstallMessageHandler(keepMessage);
        m_files = std::make_unique<SmallFiles>();
        m_preferences = std::make_unique<Preferences>(std::make_unique<MemoryPreferencesStore>());
        m_runner = std::make_unique<JobRunner>(*m_preferences,
                                               [this](FileTool, const Files&, JobRunner::ToolCompletion completion) {
                                                   m_presented.push_back(std::move(completion));
                                               });
    }

    void cleanup()
    {
        m_runner.reset();
        RunningJobs::shared().stopAll();
        QTRY_COMPARE(RunningJobs::shared().count(), 0);
        const QList<HUDPanel*> panels = HUDPanel::livePanels();
        qDeleteAll(panels);
        m_presented.clear();
        qInstallMessageHandler(m_previous);
    }

    void aConversionIsNamedAfterItsResult()
    {
        const QStringList texts = run(WheelPetal::format(FileFormat::jpg), {m_files->picture("a photo.png")});
        QCOMPARE(texts, QStringList({"Making a photo.jpg…", "a photo.jpg — just like that."}));
        QVERIFY(std::filesystem::exists(m_files->path("a photo.jpg")));
        QCOMPARE(messages.first(), "Job started: a photo.jpg");
        const QRegularExpression finish(QStringLiteral("^Job finished in \\d+\\.\\d\\ds: a photo\\.jpg$"));
        QVERIFY2(finish.match(messages.last()).hasMatch(), qPrintable(messages.last()));
    }

    void severalFilesAreCounted()
    {
        const QStringList texts =
            run(WheelPetal::format(FileFormat::jpg), {m_files->picture("a.png"), m_files->picture("b.png")});
        QCOMPARE(texts, QStringList({"Making 2 files…", "2 files — just like that."}));
    }

    void splitIsNamedAfterItsFolder()
    {
        const QStringList texts = run(WheelPetal::tool(FileTool::splitPDF), {m_files->document("report.pdf", 2)});
        QCOMPARE(texts, QStringList({"Making report Pages…", "report Pages — just like that."}));
        QVERIFY(std::filesystem::is_directory(m_files->path("report Pages")));
        run(WheelPetal::tool(FileTool::splitPDF), {m_files->document("a.pdf", 1), m_files->document("b.pdf", 1)});
        QVERIFY(std::filesystem::is_directory(m_files->path("b Pages")));
    }

    void oneQualityServesBothLossyFormats()
    {
        QImage noise(64, 64, QImage::Format_RGB32);
        QRandomGenerator random(5);
        for (int y = 0; y < noise.height(); ++y)
            for (int x = 0; x < noise.width(); ++x)
                noise.setPixel(x, y, random.generate());
        QVERIFY(noise.save(QString::fromStdString(m_files->path("noise.png").string())));
        for (const char* const name : {"noise.jpg", "noise.heic"}) {
            std::vector<std::uintmax_t> sizes;
            for (const double quality : {0.5, 1.0}) {
                m_preferences->setJPEGQuality(quality);
                run(WheelPetal::format(*FileFormat::detect(name)), {m_files->path("noise.png")});
                sizes.push_back(std::filesystem::file_size(m_files->path(name)));
                std::filesystem::remove(m_files->path(name));
            }
            QVERIFY2(sizes[0] < sizes[1], name);
        }
    }

    void aFailureTellsWhyAndIsLogged()
    {
        const QStringList texts = run(WheelPetal::format(FileFormat::jpg), {m_files->path("missing.png")});
        const QString reason = QString::fromUtf8(EngineError::unreadable(m_files->path("missing.png")).what());
        QCOMPARE(texts.last(), "Couldn't make missing.jpg\n" + reason);
        QCOMPARE(messages.last(), "Job failed: missing.jpg: " + reason);
    }

    void aWarningIsShownAndLogged()
    {
        m_runner->run(WheelPetal::tool(FileTool::mergePDF), {"/a.pdf"}, {200, 200});
        std::optional<JobOutcome> outcome;
        RunningJobs::shared().start(
            "Merge PDFs", "/a.pdf",
            [](const JobControl& control) {
                control.warning("One page is damaged.");
                return std::vector{JobResult("/folder/Merged.pdf")};
            },
            this, [&](const JobOutcome& end) { outcome = end; });
        QTRY_COMPARE(RunningJobs::shared().count(), 0);
        m_presented[0](outcome);
        QCOMPARE(textOf(HUDPanel::livePanels().last()->state()), "Merged.pdf — just like that.\nOne page is damaged.");
        QVERIFY(messages.contains("Job warns: Merge PDFs: One page is damaged."));
    }

    void aStoppedJobLeavesNoPanelAndNothingBehind()
    {
        m_runner->run(WheelPetal::tool(FileTool::splitPDF), {m_files->document("long.pdf", 400)}, {200, 200});
        RunningJobs::shared().stopAll();
        QTRY_COMPARE(RunningJobs::shared().count(), 0);
        QVERIFY(HUDPanel::livePanels().isEmpty());
        QVERIFY(!std::filesystem::exists(m_files->path("long Pages")));
        QVERIFY2(messages.last().startsWith("Job cancelled after "), qPrintable(messages.last()));
        QVERIFY(messages.last().endsWith(": long Pages"));
    }

    void eachJobHasItsOwnPanel()
    {
        m_runner->run(WheelPetal::format(FileFormat::jpg), {m_files->picture("a.png")}, {100, 100});
        m_runner->run(WheelPetal::format(FileFormat::jpg), {m_files->path("none.png")}, {400, 100});
        QCOMPARE(HUDPanel::livePanels().size(), 2);
        QTRY_COMPARE(RunningJobs::shared().count(), 0);
        QVERIFY(std::holds_alternative<HUDDone>(HUDPanel::livePanels()[0]->state()));
        QVERIFY(std::holds_alternative<HUDFailed>(HUDPanel::livePanels()[1]->state()));
    }

    void aToolReportsWhenItsWindowIsDone()
    {
        for (int i = 0; i < 3; ++i)
            QVERIFY(run(WheelPetal::tool(FileTool::mergePDF), {"/a.pdf"}).isEmpty());
        m_presented[0](JobOutcome(JobDone(JobResult("/folder/Merged.pdf"))));
        QCOMPARE(textOf(HUDPanel::livePanels().last()->state()), "Merged.pdf — just like that.");
        m_presented[1](JobOutcome(EngineError::noInputs()));
        QCOMPARE(textOf(HUDPanel::livePanels().last()->state()),
                 QString("Couldn't make Merge PDFs\n") + QString::fromUtf8(EngineError::noInputs().what()));
        QVERIFY(messages.isEmpty());
        m_presented[2](std::nullopt);
        QCOMPARE(messages, QStringList("mergePDF window closed without a result"));
        QCOMPARE(HUDPanel::livePanels().size(), 2);
    }

    void windowsGoOnPaintingWhileJobsTakeEveryThread()
    {
        QSemaphore gate, painted;
        const int threads = jobPool().maxThreadCount();
        for (int i = 0; i < threads; ++i)
            jobPool().start([&gate] { gate.acquire(); });
        // Should the painting wait for the jobs, they end after a while: the test fails instead of hanging.
        bool wasPainted = false;
        std::thread rescue([&] {
            wasPainted = painted.tryAcquire(1, longestPainting);
            gate.release(threads);
        });
        QImage image(1600, 1600, QImage::Format_ARGB32_Premultiplied);
        QPainter painter(&image);
        painter.fillRect(image.rect(), QColor(10, 20, 30, 128));
        painter.end();
        painted.release();
        rescue.join();
        jobPool().waitForDone();
        QVERIFY(wasPainted);
    }

    void aToolWithoutFilesOpensNoWindow()
    {
        QVERIFY(run(WheelPetal::tool(FileTool::organizePDF), {}).isEmpty());
        QVERIFY(m_presented.empty());
        QCOMPARE(messages, QStringList("organizePDF window closed without a result"));
    }
};

QTEST_MAIN(JobRunnerTest)
#include "JobRunnerTest.moc"
