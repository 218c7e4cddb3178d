#include "files/OutputFolder.h"

#include "files/FileBroker.h"
#include "files/HiddenNames.h"
#include "files/Publishing.h"
#include "files/StoppableSink.h"

#include <cstdio>
#include <string>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Pelgra {

namespace {

constexpr mode_t folderMode = 0777; // less the user's umask

/// Gives a folder its final name, with whatever the file system offers; 0 or an error number.
int renameFolder(const std::filesystem::path& from, const std::filesystem::path& to)
{
    const int error = renameWithoutReplacing(from, to);
    if (!isUnknownCall(error))
        return error;
    // An empty folder made under the name reserves it, and a folder may be renamed onto an empty one.
    if (mkdir(to.c_str(), folderMode) != 0)
        return errno;
    if (rename(from.c_str(), to.c_str()) == 0)
        return 0;
    const int failure = errno;
    rmdir(to.c_str());
    return failure;
}

} // namespace

OutputFolder::OutputFolder(const std::filesystem::path& input, std::string_view suffix)
    : m_parent(input.parent_path())
    , m_name(OutputNaming::baseNameOf(input, suffix))
    , m_baseOfFiles(OutputNaming::baseNameOf(input) + ' ')
{
    if (fileBroker())
        return; // whoever asked has the folder
    m_path = hiddenName(m_parent);
    removeLeftBehind(m_parent);
    if (mkdir(m_path.c_str(), folderMode) != 0)
        throw EngineError::writeFailed(firstFreePath());
    m_folder.reset(open(m_path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (m_folder)
        claimHidden(m_folder.get());
}

OutputFolder::~OutputFolder()
{
    if (!m_path.empty()) {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }
}

std::filesystem::path OutputFolder::firstFreePath() const
{
    return fileBroker() ? std::filesystem::path() : OutputNaming::uniqueURL(m_parent, m_name);
}

OutputFile OutputFolder::beginFile(int number) const
{
    return OutputFile(m_path, number);
}

void OutputFolder::finishFile(OutputFile& file, int number, std::string_view pathExtension) const
{
    file.finish();
    file.publish(m_baseOfFiles + std::to_string(number), pathExtension);
}

std::filesystem::path OutputFolder::futurePathOf(int number, std::string_view pathExtension) const
{
    if (fileBroker())
        return std::to_string(number); // all that whoever asked needs to know
    return firstFreePath() / OutputNaming::candidateName(m_baseOfFiles + std::to_string(number), pathExtension, 1);
}

void OutputFolder::writeFile(int number, std::string_view pathExtension, const std::stop_token& stop,
                             const std::function<void(ByteSink&)>& write) const
{
    const auto save = [&] {
        OutputFile file = beginFile(number);
        StoppableSink sink(file, stop);
        write(sink);
        finishFile(file, number, pathExtension);
    };
    saving(save, stop, [&] { return futurePathOf(number, pathExtension); });
}

std::filesystem::path OutputFolder::publish()
{
    if (fileBroker())
        return m_name;
    saving([this] { takeName(); }, {}, [this] { return firstFreePath(); });
    try {
        syncFolder(m_parent);
    } catch (const StorageError&) {
        // It is not known whether the name would survive a crash, so this does not count as done.
        throw EngineError::writeFailed(m_path);
    }
    return std::exchange(m_path, {});
}

void OutputFolder::takeName()
{
    // One flush of the file system serves all files at once; flushing each would mean waiting for the device once per
    // file.
    if (!m_folder || (syncfs(m_folder.get()) != 0 && errno != ENOSYS))
        throw StorageError();
    m_path = publishUnderFreeName(m_parent, m_name, {}, [this](const std::filesystem::path& candidate) {
        return renameFolder(m_path, candidate);
    });
}

} // namespace Pelgra
