#include "Jobs/RunningJobs.h"

#include "Jobs/HUDState.h"
#include "Jobs/ToolRunner.h"
#include "Support/BackgroundTask.h"
#include "Support/Logging.h"
#include "Support/Text.h"

#include <QElapsedTimer>
#include <QPointer>

#include <atomic>
#include <utility>

namespace Pelgra {

namespace {

/// How far a job has come, in units of its own; reported by its thread.
struct Progress {
    std::atomic_int done = 0;
    std::atomic_int total = 0;
};

void logEnd(const QString& name, const JobOutcome& outcome, qint64 milliseconds, const Progress& progress)
{
    if (const auto* done = std::get_if<JobDone>(&outcome)) {
        for (const QString& warning : done->warnings)
            qCWarning(jobsLog, "Job warns: %s: %s", qUtf8Printable(name), qUtf8Printable(warning));
        qCInfo(jobsLog, "Job finished in %.*fs: %s", 2, static_cast<double>(milliseconds) / 1000,
               qUtf8Printable(HUDCopy::shownName(*done, name)));
    } else if (const auto* error = std::get_if<EngineError>(&outcome)) {
        qCCritical(jobsLog, "Job failed: %s: %s", qUtf8Printable(name), qUtf8Printable(textOf(error->what())));
    } else {
        qCInfo(jobsLog, "Job cancelled after %d of %d: %s", progress.done.load(), progress.total.load(),
               qUtf8Printable(name));
    }
}

} // namespace

RunningJobs& RunningJobs::shared()
{
    static auto* const jobs = new RunningJobs; // its threads may outlast statics
    return *jobs;
}

void RunningJobs::start(const QString& name, const std::filesystem::path& file, Job job, QObject* receiver,
                        std::function<void(const JobOutcome& outcome)> ended)
{
    qCInfo(jobsLog, "Job started: %s", qUtf8Printable(name));
    QElapsedTimer clock;
    clock.start();
    const auto progress = std::make_shared<Progress>();
    Q_EMIT countChanged(++m_count);
    runInBackground(
        this,
        [job = std::move(job), file, stop = m_stop.get_token(), progress] {
            return ToolRunner::run(job, file, stop, [progress](int done, int total) {
                progress->done = done;
                progress->total = total;
            });
        },
        [this, name, clock, progress, ended = std::move(ended),
         receiver = QPointer<QObject>(receiver)](const JobOutcome& outcome) {
            logEnd(name, outcome, clock.elapsed(), *progress);
            if (receiver)
                ended(outcome);
            Q_EMIT countChanged(--m_count);
        });
}

void RunningJobs::stopAll()
{
    m_stop.request_stop();
    m_stop = {};
}

} // namespace Pelgra
