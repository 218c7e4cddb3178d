#include "Jobs/ToolRunner.h"

#include "Support/Text.h"

#include <utility>

namespace Pelgra::ToolRunner {

JobOutcome run(const Job& job, const std::filesystem::path& file, std::stop_token stop,
               std::function<void(int done, int total)> progress)
{
    try {
        QStringList warnings;
        JobControl control;
        control.stop = std::move(stop);
        control.progress = std::move(progress);
        control.warning = [&warnings](std::string_view sentence) {
            warnings += textOf(sentence);
        };
        std::vector<JobResult> results = job(control);
        return JobDone(std::move(results), std::move(warnings));
    } catch (const EngineError& error) {
        return error;
    } catch (const JobCancelled& stopped) {
        return stopped;
    } catch (...) {
        return EngineError::unreadable(file);
    }
}

} // namespace Pelgra::ToolRunner
