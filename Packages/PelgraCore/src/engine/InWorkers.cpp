#include "engine/InWorkers.h"

#include "files/OutputFolder.h"
#include "isolation/RemoteTask.h"
#include "PelgraCore/EngineError.h"

#include <algorithm>
#include <map>
#include <utility>

namespace Pelgra {

namespace {

using Kind = RemoteTask::Event::Kind;

/// The worker writes output 0 through the descriptor. Throws what PreparedOutput expects.
void letFill(RemoteTask& task, int descriptor)
{
    task.grant(descriptor);
    task.await(Kind::outputFinished);
    task.grant();
}

/// The files of a folder while a worker writes them, several at a time.
class RemotePages {
public:
    RemotePages(RemoteTask& task, const std::filesystem::path& document, std::string_view pathExtension, int count)
        : m_task(task)
        , m_document(document)
        , m_pathExtension(pathExtension)
        , m_folder(document, "Pages")
        , m_count(count)
    {
    }

    std::filesystem::path write()
    {
        try {
            for (RemoteTask::Event event = m_task.next(); event.kind != Kind::done; event = m_task.next())
                take(event);
        } catch (const StorageError&) {
            throw EngineError::writeFailed(
                m_folder.futurePathOf(std::clamp(m_task.failedOutput(), 1, m_count), m_pathExtension));
        }
        if (m_finished != m_count)
            throw EngineError::unreadable(m_document);
        return m_folder.publish();
    }

private:
    void take(const RemoteTask::Event& event)
    {
        const auto file = m_open.find(event.number);
        if (event.kind == Kind::outputWanted && event.number > 0 && event.number <= m_count && file == m_open.end()
            && m_open.size() < mostOpen)
            begin(event.number);
        else if (event.kind == Kind::outputFinished && file != m_open.end())
            finish(event.number, file->second);
        else
            throw EngineError::unreadable(m_document);
    }

    void begin(int number)
    {
        try {
            const auto [file, isNew] = m_open.emplace(number, m_folder.beginFile(number));
            m_task.grant(file->second.descriptor());
        } catch (const StorageError&) {
            m_task.refuse();
        }
    }

    void finish(int number, OutputFile& file)
    {
        try {
            m_folder.finishFile(file, number, m_pathExtension);
        } catch (const StorageError&) {
            m_open.erase(number);
            return m_task.refuse();
        }
        m_open.erase(number);
        ++m_finished;
        m_task.grant();
    }

    /// Files open at once: one for each thread of a worker, and a broken worker must not take all there are.
    static constexpr std::size_t mostOpen = 512;

    RemoteTask& m_task;
    std::filesystem::path m_document;
    std::string_view m_pathExtension;
    OutputFolder m_folder;
    int m_count;
    int m_finished = 0;
    std::map<int, OutputFile> m_open;
};

} // namespace

PreparedOutput prepareInWorker(Task task, std::span<const std::filesystem::path> inputs, std::string_view suffix,
                               std::string_view pathExtension, const JobControl& control, WorkerGroup group)
{
    RemoteTask remote(std::move(task), inputs, control, group);
    remote.await(Kind::outputWanted);
    PreparedOutput output(inputs.front(), suffix, pathExtension, control.stop,
                          [&](int descriptor) { letFill(remote, descriptor); });
    remote.finish();
    return output;
}

JobResult pagesInWorker(Task task, const std::filesystem::path& document, std::string_view pathExtension,
                        const JobControl& control)
{
    RemoteTask remote(std::move(task), {&document, 1}, control, WorkerPool::nobody);
    const RemoteTask::Event first = remote.next();
    if (first.kind == Kind::pageCount && first.number > 0)
        return JobResult(RemotePages(remote, document, pathExtension, first.number).write());
    if (first.kind != Kind::outputWanted || first.number != 0)
        throw EngineError::unreadable(document);
    PreparedOutput output(document, {}, pathExtension, control.stop,
                          [&](int descriptor) { letFill(remote, descriptor); });
    remote.finish();
    JobResult result = publishAlone(std::move(output));
    if (control.progress)
        control.progress(1, 1);
    return result;
}

} // namespace Pelgra
