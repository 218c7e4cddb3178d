#include "ToolWindows/ToolRunner.h"

namespace Pelgra::ToolRunner {

JobOutcome run(const Job& job, const std::filesystem::path& file)
{
    try {
        return job();
    } catch (const EngineError& error) {
        return error;
    } catch (...) {
        return EngineError::unreadable(file);
    }
}

} // namespace Pelgra::ToolRunner
