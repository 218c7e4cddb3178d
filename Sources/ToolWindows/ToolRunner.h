#pragma once

#include "Jobs/JobOutcome.h"

#include <filesystem>

/// Turns a throwing job into a value, so that no exception meets the event loop.
namespace Pelgra::ToolRunner {

/// Calls the job on this thread. Whatever it throws that is no EngineError counts as `file` being unreadable.
JobOutcome run(const Job& job, const std::filesystem::path& file);

} // namespace Pelgra::ToolRunner
