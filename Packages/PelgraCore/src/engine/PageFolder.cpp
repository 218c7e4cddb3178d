#include "engine/PageFolder.h"

#include "files/FileBroker.h"
#include "files/OutputFolder.h"
#include "parallel/OrderedPipeline.h"

#include <variant>

namespace Pelgra {

namespace {

/// How many pages each worker may write ahead of the first unfinished one. One that takes long must not keep the others
/// waiting, and files cost no memory.
constexpr int pagesAhead = 8;

} // namespace

JobResult writePageFolder(const std::filesystem::path& document, std::string_view pathExtension, int pageCount,
                          int workers, const JobControl& control,
                          const std::function<void(int pageIndex, ByteSink&)>& writePage)
{
    if (FileBroker* const broker = fileBroker())
        broker->beginFolder(pageCount);
    OutputFolder folder(document, "Pages");
    const auto write = [&](std::size_t index) {
        folder.writeFile(static_cast<int>(index) + 1, pathExtension, control.stop,
                         [&](ByteSink& sink) { writePage(static_cast<int>(index), sink); });
        return std::monostate();
    };
    const auto report = [&](std::size_t index, std::monostate) {
        if (control.progress)
            control.progress(static_cast<int>(index) + 1, pageCount);
    };
    OrderedPipeline<std::monostate>(static_cast<std::size_t>(pageCount), workers,
                                    static_cast<std::size_t>(workers * pagesAhead), control.stop)
        .run(write, report);
    if (control.stop.stop_requested())
        throw JobCancelled();
    return JobResult(folder.publish());
}

} // namespace Pelgra
