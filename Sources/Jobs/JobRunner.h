#pragma once

#include "Jobs/JobOutcome.h"
#include "PelgraCore/FileFormat.h"
#include "PelgraCore/FileTool.h"
#include "Wheel/WheelPetal.h"

#include <QObject>
#include <QPoint>
#include <QString>

#include <filesystem>
#include <functional>
#include <optional>
#include <stop_token>
#include <vector>

namespace Pelgra {

class HUDPanel;
class Preferences;

/// Turns a chosen petal and the dropped files into work. Main thread; the work itself runs on pool threads.
class JobRunner : public QObject {
    Q_OBJECT

public:
    using Files = std::vector<std::filesystem::path>;
    /// No value: the window was closed without a result.
    using ToolCompletion = std::function<void(std::optional<JobOutcome>)>;
    /// Opens a tool's window; stands for ToolWindows::present.
    using ToolPresenter = std::function<void(FileTool tool, const Files& files, ToolCompletion completion)>;

    /// The preferences outlive the runner.
    JobRunner(const Preferences& preferences, ToolPresenter presentTool, QObject* parent = nullptr);
    ~JobRunner() override;

    /// Starts a petal's action. The point (Qt's global logical coordinates) is where the files were dropped. Returns
    /// at once.
    void run(const WheelPetal& petal, const Files& files, QPoint point);

    /// Jobs that have not ended yet.
    int runningJobs() const { return m_runningJobs; }

    /// Asks every running job to stop soon and leave nothing unfinished behind.
    void stopAll();

Q_SIGNALS:
    void runningJobsChanged(int count);

private:
    /// Off the main thread: does the work, or throws.
    using Work = std::function<std::vector<JobResult>(std::stop_token stop)>;

    void convert(const Files& files, FileFormat target, QPoint point);
    void split(const Files& files, QPoint point);
    void openTool(FileTool tool, const Files& files);
    void perform(const QString& name, QPoint point, const std::filesystem::path& firstFile, Work work);
    void toolFinished(FileTool tool, const std::optional<JobOutcome>& outcome);

    const Preferences& m_preferences;
    ToolPresenter m_presentTool;
    int m_runningJobs = 0;
    std::stop_source m_stop;
};

} // namespace Pelgra
