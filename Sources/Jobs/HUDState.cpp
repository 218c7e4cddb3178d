#include "Jobs/HUDState.h"

#include "Support/Paths.h"
#include "Support/Text.h"

namespace Pelgra {

namespace HUDCopy {

QString batchName(std::size_t count, const QString& single)
{
    return count == 1 ? single : QStringLiteral("%1 files").arg(count);
}

QString shownName(const JobDone& done, const QString& jobName)
{
    return done.results.size() == 1 ? textFromPath(done.results.front().displayName) : jobName;
}

QString working(const QString& jobName)
{
    return QStringLiteral("Making ") + jobName + QStringLiteral("…");
}

QString done(const QString& displayName)
{
    return displayName + QStringLiteral(" — just like that.");
}

QString failed(const QString& jobName)
{
    return QStringLiteral("Couldn't make ") + jobName;
}

} // namespace HUDCopy

std::optional<HUDState> finalState(const JobOutcome& outcome, const QString& jobName)
{
    if (const auto* done = std::get_if<JobDone>(&outcome)) {
        const QString text = HUDCopy::done(HUDCopy::shownName(*done, jobName));
        return HUDDone{text, done->warnings.isEmpty() ? std::nullopt : std::optional(done->warnings.first())};
    }
    if (const auto* error = std::get_if<EngineError>(&outcome))
        return HUDFailed{HUDCopy::failed(jobName), textOf(error->what())};
    return std::nullopt;
}

} // namespace Pelgra
