#pragma once

#include "PelgraCore/EngineError.h"
#include "PelgraCore/Models.h"

#include <functional>
#include <variant>

namespace Pelgra {

/// How a job ended: with its result or with the reason why not.
using JobOutcome = std::variant<JobResult, EngineError>;

/// A job: runs off the main thread and throws EngineError when it fails.
using Job = std::function<JobResult()>;

} // namespace Pelgra
