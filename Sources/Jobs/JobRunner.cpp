#include "Jobs/JobRunner.h"

#include "Jobs/HUDPanel.h"
#include "Jobs/RunningJobs.h"
#include "PelgraCore/Engine.h"
#include "PelgraCore/OutputNaming.h"
#include "Platform/Pointer.h"
#include "Settings/Preferences.h"
#include "Support/Logging.h"
#include "Support/Paths.h"
#include "Support/Text.h"

#include <QPointer>

#include <utility>

namespace Pelgra {

namespace {

QString baseName(const std::filesystem::path& file)
{
    return textFromPath(OutputNaming::baseNameOf(file));
}

/// The name of a job on exactly one file, or the count of its files.
QString nameOfBatch(const JobRunner::Files& files, const QString& ending)
{
    return HUDCopy::batchName(files.size(), files.empty() ? QString() : baseName(files.front()) + ending);
}

} // namespace

JobRunner::JobRunner(const Preferences& preferences, ToolPresenter presentTool, QObject* parent)
    : QObject(parent)
    , m_preferences(preferences)
    , m_presentTool(std::move(presentTool))
{
}

void JobRunner::run(const WheelPetal& petal, const Files& files, QPoint point)
{
    if (const FileFormat* const format = petal.asFormat())
        convert(files, *format, point);
    else if (*petal.asTool() == FileTool::splitPDF)
        split(files, point);
    else
        openTool(*petal.asTool(), files);
}

void JobRunner::convert(const Files& files, FileFormat target, QPoint point)
{
    // One setting serves both lossy formats.
    const double quality = m_preferences.jpegQuality();
    const ConversionOptions options{quality, quality, 300};
    const QString name = nameOfBatch(files, QStringLiteral(".") + textOf(target.pathExtension()));
    perform(name, point, files, [files, target, options](const JobControl& control) {
        return Engine::convertAll(files, target, options, control);
    });
}

void JobRunner::split(const Files& files, QPoint point)
{
    perform(nameOfBatch(files, QStringLiteral(" Pages")), point, files,
            [files](const JobControl& control) { return splitAll(files, control); });
}

void JobRunner::openTool(FileTool tool, const Files& files)
{
    auto completion = [self = QPointer<JobRunner>(this), tool](const std::optional<JobOutcome>& outcome) {
        if (self)
            self->toolFinished(tool, outcome);
    };
    if (files.empty())
        completion(std::nullopt);
    else
        m_presentTool(tool, files, completion);
}

void JobRunner::toolFinished(FileTool tool, const std::optional<JobOutcome>& outcome)
{
    if (!outcome) {
        qCInfo(jobsLog, "%s window closed without a result", qUtf8Printable(textOf(tool.rawValue())));
        return;
    }
    // The drop was long ago: the panel goes where the user is looking now.
    if (const std::optional<HUDState> state = finalState(*outcome, textOf(tool.title())))
        HUDPanel::show(*state, Pointer::place());
}

void JobRunner::perform(const QString& name, QPoint point, const Files& files, Job job)
{
    const QPointer<HUDPanel> panel = HUDPanel::show(HUDWorking{HUDCopy::working(name)}, point);
    RunningJobs::shared().start(name, files.empty() ? std::filesystem::path() : files.front(), std::move(job), this,
                                [name, panel](const JobOutcome& outcome) {
                                    const std::optional<HUDState> state = finalState(outcome, name);
                                    if (!panel)
                                        return;
                                    if (state)
                                        panel->update(*state);
                                    else
                                        delete panel.data();
                                });
}

std::vector<JobResult> splitAll(const std::vector<std::filesystem::path>& files, const JobControl& control)
{
    std::vector<JobResult> results;
    for (const auto& file : files)
        results.push_back(Engine::splitPDF(file, control));
    return results;
}

} // namespace Pelgra
