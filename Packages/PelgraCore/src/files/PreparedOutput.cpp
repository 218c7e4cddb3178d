#include "files/PreparedOutput.h"

#include "files/FileBroker.h"
#include "files/Publishing.h"
#include "files/StoppableSink.h"
#include "PelgraCore/EngineError.h"
#include "PelgraCore/OutputNaming.h"

#include <thread>

#include <unistd.h>

namespace Pelgra {

PreparedOutput::PreparedOutput(const std::filesystem::path& input, std::string_view suffix,
                               std::string_view pathExtension, const std::stop_token& stop,
                               const std::function<void(ByteSink&)>& write, const std::function<void()>& whileFlushing)
    : m_directory(input.parent_path())
    , m_baseName(OutputNaming::baseNameOf(input, suffix))
    , m_pathExtension(pathExtension)
{
    const auto save = [&] {
        m_file.emplace(m_directory);
        StoppableSink sink(*m_file, stop);
        write(sink);
        std::jthread meanwhile;
        if (whileFlushing)
            meanwhile = std::jthread(whileFlushing);
        m_file->flush();
    };
    saving(save, stop, [this] { return firstFreePath(); });
    if (stop.stop_requested())
        throw JobCancelled();
}

PreparedOutput::PreparedOutput(const std::filesystem::path& input, std::string_view suffix,
                               std::string_view pathExtension, const std::stop_token& stop,
                               const std::function<void(int descriptor)>& fill)
    : m_directory(input.parent_path())
    , m_baseName(OutputNaming::baseNameOf(input, suffix))
    , m_pathExtension(pathExtension)
{
    const auto save = [&] {
        m_file.emplace(m_directory);
        fill(m_file->descriptor());
        m_file->flush();
    };
    saving(save, stop, [this] { return firstFreePath(); });
    if (stop.stop_requested())
        throw JobCancelled();
}

std::filesystem::path PreparedOutput::firstFreePath() const
{
    if (fileBroker())
        return "0"; // all that whoever asked needs to know
    return OutputNaming::uniqueURL(m_directory, m_baseName, m_pathExtension);
}

std::filesystem::path PreparedOutput::publish()
{
    std::filesystem::path file;
    saving([&] { file = m_file->publish(m_baseName, m_pathExtension); }, {}, [this] { return firstFreePath(); });
    return file;
}

JobResult publishAlone(PreparedOutput output)
{
    const std::filesystem::path file = output.publish();
    try {
        syncFolder(file.parent_path());
    } catch (const StorageError&) {
        // It is not known whether the name would survive a crash, so this does not count as done.
        unlink(file.c_str());
        throw EngineError::writeFailed(file);
    }
    return JobResult(file);
}

} // namespace Pelgra
