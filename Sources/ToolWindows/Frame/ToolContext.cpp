#include "ToolWindows/Frame/ToolContext.h"

#include "Jobs/RunningJobs.h"

#include <utility>

namespace Pelgra {

ToolContext::ToolContext(const QString& jobName, QObject* parent)
    : QObject(parent)
    , m_jobName(jobName)
{
}

void ToolContext::run(ToolJob job, const std::filesystem::path& file)
{
    if (std::exchange(m_isRunning, true))
        return;
    Q_EMIT isRunningChanged(true);
    RunningJobs::shared().start(
        m_jobName, file, [job = std::move(job)](const JobControl& control) { return std::vector{job(control)}; }, this,
        [this](const JobOutcome& outcome) {
            m_isRunning = false;
            Q_EMIT isRunningChanged(false);
            m_outcome = outcome;
            Q_EMIT finished();
        });
}

void ToolContext::finishWithoutResult()
{
    if (!m_isRunning)
        Q_EMIT finished();
}

} // namespace Pelgra
