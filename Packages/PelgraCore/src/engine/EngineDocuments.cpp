#include "PelgraCore/Engine.h"

#include "engine/InWorkers.h"
#include "engine/PageFolder.h"
#include "files/PreparedOutput.h"
#include "files/Publishing.h"
#include "modules/documents/DocumentsModule.h"
#include "modules/ModuleLoader.h"
#include "parallel/IdlePool.h"
#include "parallel/WorkerCount.h"
#include "PelgraCore/Isolation.h"
#include "PelgraCore/OutputNaming.h"

#include <algorithm>
#include <cerrno>

#include <sys/stat.h>

namespace Pelgra::Engine {

namespace {

const DocumentsModule& documents()
{
    return module<DocumentsModule>(DocumentsModule::name);
}

JobResult writeBeside(const std::filesystem::path& input, std::string_view suffix,
                      std::unique_ptr<AssembledDocument> document, const JobControl& control)
{
    // Taking a large document apart takes as long as the device needs for the file.
    return publishAlone(PreparedOutput(
        input, suffix, "pdf", control.stop, [&](ByteSink& sink) { document->write(sink); }, [&] { document.reset(); }));
}

/// The least pages for one worker; fewer are not worth opening the file once more.
constexpr int pagesWorthAWorker = 16;

} // namespace

JobResult mergePDFs(std::span<const std::filesystem::path> files, const JobControl& control)
{
    if (files.empty())
        throw EngineError::noInputs();
    if (Isolation::usesWorkers()) {
        Task task;
        task.kind = Task::Kind::merge;
        return publishAlone(prepareInWorker(std::move(task), files, "Merged", "pdf", control));
    }
    return writeBeside(files.front(), "Merged", documents().merge(files, control), control);
}

JobResult organizePDF(const std::filesystem::path& file, std::span<const PageEdit> pages, bool uniformWidth,
                      const JobControl& control)
{
    if (pages.empty())
        throw EngineError::noPages();
    if (Isolation::usesWorkers()) {
        Task task;
        task.kind = Task::Kind::organize;
        task.edits.assign(pages.begin(), pages.end());
        task.uniformWidth = uniformWidth;
        return publishAlone(prepareInWorker(std::move(task), {&file, 1}, "Organized", "pdf", control));
    }
    return writeBeside(file, "Organized", documents().organize(file, pages, uniformWidth, control), control);
}

JobResult splitPDF(const std::filesystem::path& file, const JobControl& control)
{
    if (Isolation::usesWorkers()) {
        Task task;
        task.kind = Task::Kind::split;
        return pagesInWorker(std::move(task), file, "pdf", control);
    }
    const auto open = [&] {
        return documents().split(file);
    };
    std::unique_ptr<PageSplitter> first = open();
    const int pageCount = first->pageCount();
    if (pageCount < 1)
        throw EngineError::noPages();
    warnOf(first->losses(), file, pageCount, control);
    IdlePool<PageSplitter> splitters(open, std::move(first));
    const int workers = std::clamp(pageCount / pagesWorthAWorker, 1, workerCount());
    return writePageFolder(file, "pdf", pageCount, workers, control, [&](int page, ByteSink& sink) {
        const IdlePool<PageSplitter>::Lease splitter(splitters);
        splitter->writePage(page, sink);
    });
}

std::filesystem::path makeFolder(const std::filesystem::path& input, std::string_view suffix)
{
    const std::filesystem::path parent = input.parent_path();
    const std::string base = OutputNaming::baseNameOf(input, suffix);
    try {
        return publishUnderFreeName(parent, base, {}, [](const std::filesystem::path& candidate) {
            return mkdir(candidate.c_str(), 0777) == 0 ? 0 : errno;
        });
    } catch (const StorageError&) {
        throw EngineError::writeFailed(OutputNaming::uniqueURL(parent, base));
    }
}

} // namespace Pelgra::Engine
