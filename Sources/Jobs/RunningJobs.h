#pragma once

#include "Jobs/JobOutcome.h"

#include <QObject>
#include <QString>

#include <filesystem>
#include <functional>
#include <stop_token>

namespace Pelgra {

/// Runs every job of the application, from a drop or from a tool's window: each is logged from its start to its end,
/// can be stopped, and comes to one of three outcomes. One for the process. Main thread; the jobs run on pool threads.
class RunningJobs : public QObject {
    Q_OBJECT

public:
    static RunningJobs& shared();

    /// Starts a job under the name that the log gives it; `file` is named if it fails in an unforeseen way. `ended`
    /// is called once, on the main thread, unless the receiver is gone by then.
    void start(const QString& name, const std::filesystem::path& file, Job job, QObject* receiver,
               std::function<void(const JobOutcome& outcome)> ended);

    /// Jobs whose end has not been reported yet.
    int count() const { return m_count; }

    /// Asks every job to stop soon and leave nothing unfinished behind. Those that start later run.
    void stopAll();

Q_SIGNALS:
    /// After a job's receiver was told of its end, or a job was started.
    void countChanged(int count);

private:
    RunningJobs() = default;

    int m_count = 0;
    std::stop_source m_stop;
};

} // namespace Pelgra
