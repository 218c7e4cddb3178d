#include "engine/ConversionRoute.h"

#include "files/Publishing.h"
#include "parallel/OrderedPipeline.h"
#include "parallel/WorkerCount.h"
#include "PelgraCore/Engine.h"
#include "PelgraCore/EngineError.h"

#include <set>

namespace Pelgra {

namespace {

/// How many finished files each worker may be ahead of the first unfinished one. They wait on the disk, without a name.
constexpr std::size_t filesAheadOfEachWorker = 4;

/// A batch under way.
class Batch {
public:
    Batch(std::span<const std::filesystem::path> files, FileFormat target, const ConversionOptions& options,
          const JobControl& control)
        : m_files(files)
        , m_target(target)
        , m_options(options)
        , m_control(control)
    {
    }

    std::vector<JobResult> run()
    {
        try {
            while (m_results.size() < m_files.size())
                if (isDocument(m_results.size()))
                    convertDocument();
                else
                    convertImages();
        } catch (...) {
            // What has been published stays, so it is made to last; the first failure is the one to report.
            try {
                syncFolders();
            } catch (const EngineError&) {
            }
            throw;
        }
        syncFolders();
        return std::move(m_results);
    }

private:
    bool isDocument(std::size_t index) const
    {
        return FileFormat::detect(m_files[index]) == FileFormat(FileFormat::pdf);
    }

    /// Documents go one after another: their pages already keep every core busy.
    void convertDocument()
    {
        JobControl control;
        control.stop = m_control.stop;
        control.warning = m_control.warning;
        take(Engine::convert(m_files[m_results.size()], m_target, m_options, control));
    }

    /// The images up to the next document.
    void convertImages()
    {
        const std::size_t first = m_results.size();
        std::size_t count = 1;
        while (first + count < m_files.size() && !isDocument(first + count))
            ++count;
        const int workers = workerCount();
        const int threadsForEach = count > 1 ? 1 : workers;
        OrderedPipeline<PreparedOutput> pipeline(
            count, workers, static_cast<std::size_t>(workers) * filesAheadOfEachWorker, m_control.stop);
        pipeline.run(
            [&](std::size_t index) {
                return prepareConversion(m_files[first + index], m_target, m_options, threadsForEach, m_control.stop,
                                         m_workers.group());
            },
            [&](std::size_t, PreparedOutput output) {
                const std::filesystem::path file = output.publish();
                m_unsynced.insert(file.parent_path());
                take(JobResult(file));
            });
    }

    void take(JobResult result)
    {
        m_results.push_back(std::move(result));
        if (m_control.published)
            m_control.published(m_results.back());
        if (m_control.progress)
            m_control.progress(static_cast<int>(m_results.size()), static_cast<int>(m_files.size()));
    }

    /// Once for each folder: a flush for each file would wait for the device each time.
    void syncFolders()
    {
        const auto folders = std::exchange(m_unsynced, {});
        for (const auto& folder : folders) {
            try {
                syncFolder(folder);
            } catch (const StorageError&) {
                throw EngineError::writeFailed(lastOutputIn(folder));
            }
        }
    }

    std::filesystem::path lastOutputIn(const std::filesystem::path& folder) const
    {
        for (auto result = m_results.rbegin(); result != m_results.rend(); ++result)
            if (result->outputs.back().parent_path() == folder)
                return result->outputs.back();
        return folder;
    }

    WorkerGroupScope m_workers;
    std::span<const std::filesystem::path> m_files;
    FileFormat m_target;
    const ConversionOptions& m_options;
    const JobControl& m_control;
    std::vector<JobResult> m_results;
    std::set<std::filesystem::path> m_unsynced; ///< folders with outputs whose entries are not yet on the device
};

} // namespace

std::vector<JobResult> Engine::convertAll(std::span<const std::filesystem::path> files, FileFormat target,
                                          const ConversionOptions& options, const JobControl& control)
{
    if (files.empty())
        throw EngineError::noInputs();
    if (files.size() > 1)
        return Batch(files, target, options, control).run();
    JobResult result = convert(files.front(), target, options, control);
    if (control.published)
        control.published(result);
    return {std::move(result)};
}

} // namespace Pelgra
