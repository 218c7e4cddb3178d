#include "files/PreparedOutput.h"

#include "files/Publishing.h"
#include "PelgraCore/EngineError.h"
#include "PelgraCore/OutputNaming.h"

#include <unistd.h>

namespace Pelgra {

namespace {

/// Ends a long write soon after a stop is requested, whatever the encoder between makes of exceptions.
class StoppableSink final : public ByteSink {
public:
    StoppableSink(ByteSink& sink, const std::stop_token& stop)
        : m_sink(sink)
        , m_stop(stop)
    {
    }
    void write(std::span<const std::byte> bytes) override
    {
        throwIfStopped();
        m_sink.write(bytes);
    }
    void writeAt(std::size_t offset, std::span<const std::byte> bytes) override
    {
        throwIfStopped();
        m_sink.writeAt(offset, bytes);
    }

private:
    void throwIfStopped() const
    {
        if (m_stop.stop_requested())
            throw StorageError();
    }
    ByteSink& m_sink;
    const std::stop_token& m_stop;
};

} // namespace

PreparedOutput::PreparedOutput(const std::filesystem::path& input, std::string_view suffix,
                               std::string_view pathExtension, const std::stop_token& stop,
                               const std::function<void(ByteSink&)>& write)
    : m_directory(input.parent_path())
    , m_baseName(OutputNaming::baseNameOf(input, suffix))
    , m_pathExtension(pathExtension)
{
    try {
        m_file.emplace(m_directory);
        StoppableSink sink(*m_file, stop);
        write(sink);
        m_file->flush();
    } catch (const EngineError&) {
        throw;
    } catch (const std::exception&) {
        if (stop.stop_requested())
            throw JobCancelled();
        throw EngineError::writeFailed(OutputNaming::uniqueURL(m_directory, m_baseName, m_pathExtension));
    }
    if (stop.stop_requested())
        throw JobCancelled();
}

std::filesystem::path PreparedOutput::publish()
{
    try {
        return m_file->publish(m_baseName, m_pathExtension);
    } catch (const StorageError&) {
        throw EngineError::writeFailed(OutputNaming::uniqueURL(m_directory, m_baseName, m_pathExtension));
    }
}

JobResult publishAlone(PreparedOutput output)
{
    const std::filesystem::path file = output.publish();
    try {
        syncFolder(file.parent_path());
    } catch (const StorageError&) {
        // Whether the name would outlast a crash is not known, so it must not be taken for done.
        unlink(file.c_str());
        throw EngineError::writeFailed(file);
    }
    return JobResult(file);
}

} // namespace Pelgra
