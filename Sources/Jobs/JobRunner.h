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
#include <vector>

namespace Pelgra {

class Preferences;

/// Turns a chosen petal and the dropped files into jobs, each with a panel of its own. Main thread.
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

    /// Starts a petal's action. The point (Qt's global logical coordinates) is where the files were dropped. Returns
    /// at once.
    void run(const WheelPetal& petal, const Files& files, QPoint point);

private:
    void convert(const Files& files, FileFormat target, QPoint point);
    void split(const Files& files, QPoint point);
    void openTool(FileTool tool, const Files& files);
    void perform(const QString& name, QPoint point, const Files& files, Job job);
    void toolFinished(FileTool tool, const std::optional<JobOutcome>& outcome);

    const Preferences& m_preferences;
    ToolPresenter m_presentTool;
};

/// Splits the files one after the other; the first failure ends it. The work of a job.
std::vector<JobResult> splitAll(const std::vector<std::filesystem::path>& files, const JobControl& control);

} // namespace Pelgra
