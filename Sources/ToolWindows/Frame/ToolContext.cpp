#include "ToolWindows/Frame/ToolContext.h"

#include "Support/BackgroundTask.h"
#include "ToolWindows/ToolRunner.h"

namespace Pelgra {

ToolContext::ToolContext(QObject* parent)
    : QObject(parent)
{
}

ToolContext::~ToolContext() = default;

void ToolContext::run(Job job, const std::filesystem::path& file)
{
    if (m_isRunning)
        return;
    m_isRunning = true;
    Q_EMIT isRunningChanged(true);
    runInBackground(
        this, [job = std::move(job), file] { return ToolRunner::run(job, file); },
        [this](JobOutcome outcome) {
            m_isRunning = false;
            Q_EMIT isRunningChanged(false);
            finish(std::move(outcome));
        });
}

void ToolContext::finishWithoutResult()
{
    if (!m_isRunning)
        finish(std::nullopt);
}

void ToolContext::finish(std::optional<JobOutcome> outcome)
{
    // A copy: the handler may well be replaced, or this context be deleted, while it runs.
    if (const FinishHandler handler = m_onFinish)
        handler(std::move(outcome));
}

} // namespace Pelgra
