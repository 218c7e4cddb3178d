#include "ToolWindows/ToolWindows.h"

#include "Jobs/JobRunner.h"
#include "Jobs/RunningJobs.h"
#include "Support/Logging.h"
#include "Support/Paths.h"
#include "Support/Text.h"

#include <QCoreApplication>
#include <QDir>

namespace Pelgra::ToolWindows {

namespace {

using Files = ToolWindowController::Files;
using Completion = ToolWindowController::Completion;

void split(const Files& files, Completion completion)
{
    if (files.empty()) {
        completion(std::nullopt);
        return;
    }
    RunningJobs::shared().start(
        textOf(FileTool(FileTool::splitPDF).title()), files.front(),
        [files](const JobControl& control) {
            // The outcome is that of the last file only; the others are on disk all the same.
            return std::vector{splitAll(files, control).back()};
        },
        qApp, [completion = std::move(completion)](const JobOutcome& outcome) { completion(outcome); });
}

/// The path with a leading tilde replaced by the home folder, as a shell does.
QString withHomeFolder(const QString& path)
{
    if (path == QStringLiteral("~") || path.startsWith(QStringLiteral("~/")))
        return QDir::homePath() + path.mid(1);
    return path;
}

void logOutcome(const QByteArray& tool, const std::optional<JobOutcome>& outcome)
{
    const char* const name = tool.constData();
    const auto* const done = outcome ? std::get_if<JobDone>(&*outcome) : nullptr;
    const auto* const error = outcome ? std::get_if<EngineError>(&*outcome) : nullptr;
    if (done) {
        QStringList outputs;
        for (const JobResult& result : done->results) {
            for (const auto& output : result.outputs)
                outputs += textFromPath(output);
        }
        qCInfo(applicationLog, "ToolWindowsDebug: %s -> %s", name, qUtf8Printable(outputs.join(QStringLiteral(", "))));
    } else if (error) {
        qCInfo(applicationLog, "ToolWindowsDebug: %s failed: %s", name, error->what());
    } else {
        qCInfo(applicationLog, "ToolWindowsDebug: %s closed without running", name);
    }
}

} // namespace

void present(FileTool tool, const Files& files, Completion completion)
{
    if (tool == FileTool::splitPDF)
        split(files, std::move(completion));
    else
        ToolWindowController::present(tool, files, std::move(completion));
}

bool presentFromLaunchArguments(const QStringList& arguments)
{
    const qsizetype flag = arguments.indexOf(QStringLiteral("-ToolWindowsDebug"));
    if (flag < 0 || flag + 1 >= arguments.size())
        return false;
    const QString name = arguments[flag + 1];
    const auto tool = FileTool::fromRawValue(name.toStdString());
    if (!tool)
        return false;
    Files files;
    for (qsizetype index = flag + 2; index < arguments.size() && !arguments[index].startsWith(u'-'); ++index)
        files.push_back(pathFromText(withHomeFolder(arguments[index])));
    if (files.empty())
        return false;
    present(*tool, files,
            [name = name.toUtf8()](const std::optional<JobOutcome>& outcome) { logOutcome(name, outcome); });
    return true;
}

} // namespace Pelgra::ToolWindows
