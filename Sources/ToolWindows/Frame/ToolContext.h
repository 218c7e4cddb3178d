#pragma once

#include "Jobs/JobOutcome.h"

#include <QObject>
#include <QString>

#include <filesystem>
#include <functional>
#include <optional>

namespace Pelgra {

/// What a tool's view and its window share: whether the tool's job runs, and how it ended. Main thread only; the job
/// itself runs on a pool thread.
class ToolContext : public QObject {
    Q_OBJECT

public:
    /// The call into the engine.
    using ToolJob = std::function<JobResult(const JobControl& control)>;

    /// The name is the one that the log gives the tool's job.
    explicit ToolContext(const QString& jobName, QObject* parent = nullptr);

    bool isRunning() const { return m_isRunning; }

    /// How the latest job ended; no value while none has.
    const std::optional<JobOutcome>& outcome() const { return m_outcome; }

    /// Starts the job unless one is running already. `file` is named should the job fail in an unforeseen way.
    void run(ToolJob job, const std::filesystem::path& file);

    /// Asks to close the window without a result; ignored while a job runs.
    void finishWithoutResult();

Q_SIGNALS:
    void isRunningChanged(bool isRunning);
    /// outcome() is known, or the window is to be closed without one. No job runs.
    void finished();

private:
    QString m_jobName;
    bool m_isRunning = false;
    std::optional<JobOutcome> m_outcome;
};

} // namespace Pelgra
