#include "ToolWindows/ToolWindows.h"

#include "PelgraCore/Engine.h"
#include "Support/BackgroundTask.h"
#include "Support/Logging.h"
#include "Support/Paths.h"
#include "ToolWindows/ToolRunner.h"

#include <QCoreApplication>
#include <QDir>

namespace Pelgra::ToolWindows {

namespace {

using Files = ToolWindowController::Files;
using Completion = ToolWindowController::Completion;

/// Splits the files one after the other. The first failure stops; else the outcome is that of the last file alone.
JobOutcome splitAll(const Files& files)
{
    JobOutcome outcome = EngineError::noInputs();
    for (const auto& file : files) {
        outcome = ToolRunner::run([&] { return Engine::splitPDF(file); }, file);
        if (std::holds_alternative<EngineError>(outcome))
            break;
    }
    return outcome;
}

void split(const Files& files, Completion completion)
{
    if (files.empty()) {
        completion(std::nullopt);
        return;
    }
    runInBackground(
        qApp, [files] { return splitAll(files); },
        [completion = std::move(completion)](JobOutcome outcome) { completion(std::move(outcome)); });
}

QString tildeExpanded(const QString& path)
{
    if (path == QStringLiteral("~") || path.startsWith(QStringLiteral("~/")))
        return QDir::homePath() + path.mid(1);
    return path;
}

void logOutcome(const QString& tool, const std::optional<JobOutcome>& outcome)
{
    if (!outcome) {
        qCInfo(applicationLog, "ToolWindowsDebug: %s closed without running", qUtf8Printable(tool));
    } else if (const auto* result = std::get_if<JobResult>(&*outcome)) {
        QStringList outputs;
        for (const auto& output : result->outputs)
            outputs += textFromPath(output);
        qCInfo(applicationLog, "ToolWindowsDebug: %s -> %s", qUtf8Printable(tool),
               qUtf8Printable(outputs.join(QStringLiteral(", "))));
    } else {
        qCInfo(applicationLog, "ToolWindowsDebug: %s failed: %s", qUtf8Printable(tool),
               std::get<EngineError>(*outcome).what());
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
        files.push_back(pathFromText(tildeExpanded(arguments[index])));
    if (files.empty())
        return false;
    present(*tool, files, [name](const std::optional<JobOutcome>& outcome) { logOutcome(name, outcome); });
    return true;
}

} // namespace Pelgra::ToolWindows
