#include "Jobs/JobRunner.h"

#include "Jobs/HUDPanel.h"
#include "PelgraCore/Engine.h"
#include "PelgraCore/OutputNaming.h"
#include "Settings/Preferences.h"
#include "Support/BackgroundTask.h"
#include "Support/Logging.h"
#include "Support/Paths.h"
#include "Support/Text.h"

#include <QCursor>
#include <QElapsedTimer>
#include <QPointer>

#include <variant>

namespace Pelgra {

namespace {

using WorkOutcome = std::variant<std::vector<JobResult>, EngineError>;

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

JobRunner::~JobRunner()
{
    m_stop.request_stop();
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

void JobRunner::stopAll()
{
    m_stop.request_stop();
    m_stop = {};
}

void JobRunner::convert(const Files& files, FileFormat target, QPoint point)
{
    // One setting serves both lossy formats.
    const double quality = m_preferences.jpegQuality();
    const ConversionOptions options{quality, quality, 300};
    const QString name = nameOfBatch(files, QStringLiteral(".") + textOf(target.pathExtension()));
    perform(name, point, files.empty() ? std::filesystem::path() : files.front(),
            [files, target, options](std::stop_token stop) {
                JobControl control;
                control.stop = std::move(stop);
                return Engine::convertAll(files, target, options, control);
            });
}

void JobRunner::split(const Files& files, QPoint point)
{
    perform(nameOfBatch(files, QStringLiteral(" Pages")), point,
            files.empty() ? std::filesystem::path() : files.front(), [files](std::stop_token stop) {
                JobControl control;
                control.stop = std::move(stop);
                std::vector<JobResult> results;
                for (const auto& file : files)
                    results.push_back(Engine::splitPDF(file, control));
                return results;
            });
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
    // The drop is long past: the panel goes where the user looks now.
    const QPoint point = QCursor::pos();
    if (const auto* result = std::get_if<JobResult>(&*outcome))
        HUDPanel::show(HUDDone{HUDCopy::done(textFromPath(result->displayName)), std::nullopt}, point);
    else
        HUDPanel::show(HUDFailed{HUDCopy::failed(textOf(tool.title())), textOf(std::get<EngineError>(*outcome).what())},
                       point);
}

void JobRunner::perform(const QString& name, QPoint point, const std::filesystem::path& firstFile, Work work)
{
    const QPointer<HUDPanel> panel = HUDPanel::show(HUDWorking{HUDCopy::working(name)}, point);
    QElapsedTimer clock;
    clock.start();
    qCInfo(jobsLog, "Job started: %s", qUtf8Printable(name));
    Q_EMIT runningJobsChanged(++m_runningJobs);
    runInBackground(
        this,
        [work = std::move(work), stop = m_stop.get_token(), firstFile]() -> std::optional<WorkOutcome> {
            try {
                return work(stop);
            } catch (const EngineError& error) {
                return error;
            } catch (const JobCancelled&) {
                return std::nullopt;
            } catch (...) {
                return EngineError::unreadable(firstFile);
            }
        },
        [this, name, panel, clock](const std::optional<WorkOutcome>& outcome) {
            Q_EMIT runningJobsChanged(--m_runningJobs);
            if (!outcome) {
                delete panel.data();
                return;
            }
            HUDState state;
            if (const auto* results = std::get_if<std::vector<JobResult>>(&*outcome)) {
                const QString shown = results->size() == 1 ? textFromPath(results->front().displayName) : name;
                qCInfo(jobsLog, "Job finished in %.*fs: %s", 2, static_cast<double>(clock.elapsed()) / 1000,
                       qUtf8Printable(shown));
                state = HUDDone{HUDCopy::done(shown), std::nullopt};
            } else {
                const QString why = textOf(std::get<EngineError>(*outcome).what());
                qCCritical(jobsLog, "Job failed: %s: %s", qUtf8Printable(name), qUtf8Printable(why));
                state = HUDFailed{HUDCopy::failed(name), why};
            }
            if (panel)
                panel->update(state);
        });
}

} // namespace Pelgra
