#pragma once

#include "Jobs/JobOutcome.h"

#include <QObject>

#include <filesystem>
#include <functional>
#include <optional>

namespace Pelgra {

/// What a tool's view and its window share: whether the tool's job runs, and where its outcome goes. Main thread only;
/// the job itself runs on a pool thread.
class ToolContext : public QObject {
    Q_OBJECT

public:
    /// No value: the window was closed without the job having run.
    using FinishHandler = std::function<void(std::optional<JobOutcome>)>;

    explicit ToolContext(QObject* parent = nullptr);
    ~ToolContext() override;

    bool isRunning() const { return m_isRunning; }

    /// Called once for each job that ends, right after isRunning() turned false, and by finishWithoutResult().
    void setOnFinish(FinishHandler handler) { m_onFinish = std::move(handler); }

    /// Starts the job unless one is running already. `file` is named should the job fail in an unforeseen way.
    void run(Job job, const std::filesystem::path& file);

    /// Asks to close the window without a result; ignored while a job runs.
    void finishWithoutResult();

Q_SIGNALS:
    void isRunningChanged(bool isRunning);

private:
    void finish(std::optional<JobOutcome> outcome);

    bool m_isRunning = false;
    FinishHandler m_onFinish;
};

} // namespace Pelgra
