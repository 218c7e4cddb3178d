#pragma once

#include "Jobs/JobOutcome.h"

#include <filesystem>
#include <stop_token>

/// Turns a throwing job into a value, so that no exception meets the event loop.
namespace Pelgra::ToolRunner {

/// Calls the job on this thread, collects its warnings, and passes its progress on to whoever asks for it. Anything it
/// throws other than EngineError and JobCancelled counts as `file` being unreadable.
JobOutcome run(const Job& job, const std::filesystem::path& file, std::stop_token stop = {},
               std::function<void(int done, int total)> progress = nullptr);

} // namespace Pelgra::ToolRunner
