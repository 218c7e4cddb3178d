#include "PelgraCore/Engine.h"

#include "files/OutputFile.h"
#include "files/OutputFolder.h"
#include "files/Publishing.h"
#include "modules/documents/DocumentsModule.h"
#include "modules/ModuleLoader.h"
#include "PelgraCore/OutputNaming.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <mutex>
#include <thread>

#include <sys/stat.h>

namespace Pelgra::Engine {

namespace {

const DocumentsModule& documents()
{
    return module<DocumentsModule>(DocumentsModule::name);
}

/// Runs what writes an output. `target` names it in the error; its number is chosen only when it is published.
template <typename Write>
JobResult writing(const std::filesystem::path& target, Write&& write)
{
    try {
        return JobResult(write());
    } catch (const EngineError&) {
        throw;
    } catch (const JobCancelled&) {
        throw;
    } catch (const std::exception&) {
        throw EngineError::writeFailed(target);
    }
}

JobResult writeBeside(const std::filesystem::path& input, std::string_view suffix,
                      std::unique_ptr<AssembledDocument> document)
{
    return writing(OutputNaming::siblingURL(input, suffix, "pdf"), [&] {
        OutputFile file(input.parent_path());
        document->write(file);
        // To take a large document apart takes as long as the device needs for the file.
        const std::jthread ending([&] { document.reset(); });
        file.flush();
        std::filesystem::path output = file.publish(OutputNaming::baseNameOf(input, suffix), "pdf");
        syncFolder(input.parent_path());
        return output;
    });
}

/// Pages for one worker to begin with; fewer are not worth opening the file once more.
constexpr int pagesWorthAWorker = 16;

/// Splits a document into the files of a folder, each worker with the file open for itself. The calling thread is a
/// worker too, and the one that reports.
class SplitJob {
public:
    /// The folder is written to; the target is what errors call it.
    SplitJob(const std::filesystem::path& file, const std::filesystem::path& folder,
             const std::filesystem::path& target, int pageCount, const JobControl& control)
        : m_file(file)
        , m_folder(folder)
        , m_target(target)
        , m_baseName(OutputNaming::baseNameOf(file))
        , m_pageCount(pageCount)
        , m_control(control)
    {
    }

    void run(PageSplitter& splitter)
    {
        const int cores = static_cast<int>(std::max(1U, std::thread::hardware_concurrency()));
        const int helpers = std::min(cores, m_pageCount / pagesWorthAWorker) - 1;
        {
            std::vector<std::jthread> threads;
            for (int number = 0; number < helpers; ++number)
                threads.emplace_back([this] { help(); });
            work(splitter, true);
        }
        if (m_failure)
            std::rethrow_exception(m_failure);
    }

private:
    void help()
    {
        try {
            const std::unique_ptr<PageSplitter> splitter = documents().split(m_file);
            work(*splitter, false);
        } catch (...) {
            fail(std::current_exception());
        }
    }

    void work(PageSplitter& splitter, bool reports)
    {
        try {
            for (int page = m_next++; page < m_pageCount && !m_hasFailed; page = m_next++) {
                if (m_control.stop.stop_requested())
                    throw JobCancelled();
                writePage(splitter, page);
                const int done = ++m_done;
                if (reports && m_control.progress)
                    m_control.progress(done, m_pageCount);
            }
        } catch (...) {
            fail(std::current_exception());
        }
    }

    void writePage(PageSplitter& splitter, int page)
    {
        const std::string name = m_baseName + ' ' + std::to_string(page + 1);
        writing(m_target / (name + ".pdf"), [&] {
            OutputFile output(m_folder);
            splitter.writePage(page, output);
            output.finish();
            return output.publish(name, "pdf");
        });
    }

    void fail(std::exception_ptr failure)
    {
        const std::lock_guard lock(m_mutex);
        if (!m_failure)
            m_failure = std::move(failure);
        m_hasFailed = true;
    }

    const std::filesystem::path& m_file;
    const std::filesystem::path& m_folder;
    const std::filesystem::path& m_target;
    std::string m_baseName;
    int m_pageCount;
    const JobControl& m_control;
    std::atomic<int> m_next = 0;
    std::atomic<int> m_done = 0;
    std::atomic<bool> m_hasFailed = false;
    std::mutex m_mutex;
    std::exception_ptr m_failure;
};

} // namespace

JobResult mergePDFs(std::span<const std::filesystem::path> files, const JobControl& control)
{
    if (files.empty())
        throw EngineError::noInputs();
    return writeBeside(files.front(), "Merged", documents().merge(files, control));
}

JobResult organizePDF(const std::filesystem::path& file, std::span<const PageEdit> pages, bool uniformWidth,
                      const JobControl& control)
{
    if (pages.empty())
        throw EngineError::noPages();
    return writeBeside(file, "Organized", documents().organize(file, pages, uniformWidth, control));
}

JobResult splitPDF(const std::filesystem::path& file, const JobControl& control)
{
    const std::unique_ptr<PageSplitter> splitter = documents().split(file);
    const int pageCount = splitter->pageCount();
    if (pageCount < 1)
        throw EngineError::noPages();
    const std::filesystem::path target = OutputNaming::siblingURL(file, "Pages");
    return writing(target, [&] {
        OutputFolder folder(file.parent_path());
        SplitJob(file, folder.hiddenPath(), target, pageCount, control).run(*splitter);
        if (control.progress)
            control.progress(pageCount, pageCount);
        return folder.publish(OutputNaming::baseNameOf(file, "Pages"));
    });
}

std::filesystem::path makeFolder(const std::filesystem::path& input, std::string_view suffix)
{
    const std::filesystem::path parent = input.parent_path();
    const std::string base = OutputNaming::baseNameOf(input, suffix);
    for (;;) {
        std::filesystem::path folder = OutputNaming::uniqueURL(parent, base);
        if (mkdir(folder.c_str(), 0777) == 0)
            return folder;
        if (errno != EEXIST) // someone took the name meanwhile: choose again
            throw EngineError::writeFailed(folder);
    }
}

} // namespace Pelgra::Engine
