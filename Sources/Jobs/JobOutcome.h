#pragma once

#include "PelgraCore/EngineError.h"
#include "PelgraCore/JobControl.h"
#include "PelgraCore/Models.h"

#include <QStringList>

#include <functional>
#include <variant>
#include <vector>

namespace Pelgra {

/// What a job that succeeded has to say.
struct JobDone {
    std::vector<JobResult> results; ///< at least one unless there was nothing to do
    QStringList warnings; ///< what the user should know all the same, as sentences

    explicit JobDone(std::vector<JobResult> all, QStringList told = {})
        : results(std::move(all))
        , warnings(std::move(told))
    {
    }
    explicit JobDone(JobResult result)
        : results{std::move(result)}
    {
    }
};

/// How a job ended: done, failed, or cancelled because it was told to stop.
using JobOutcome = std::variant<JobDone, EngineError, JobCancelled>;

/// What a job does: runs off the main thread, throws EngineError when it fails and JobCancelled when it was stopped.
using Job = std::function<std::vector<JobResult>(const JobControl& control)>;

} // namespace Pelgra
