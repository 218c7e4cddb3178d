#include "files/OutputFolder.h"

#include "files/HiddenNames.h"
#include "files/Publishing.h"

#include <cstdio>
#include <system_error>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Pelgra {

namespace {

constexpr mode_t folderMode = 0777; // less the user's umask

} // namespace

OutputFolder::OutputFolder(const std::filesystem::path& parent)
    : m_parent(parent)
    , m_hidden(hiddenName(parent))
{
    removeLeftBehind(parent);
    if (mkdir(m_hidden.c_str(), folderMode) != 0)
        throw StorageError();
    m_folder.reset(open(m_hidden.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (m_folder)
        claimHidden(m_folder.get());
}

OutputFolder::~OutputFolder()
{
    if (!m_hidden.empty()) {
        std::error_code ignored;
        std::filesystem::remove_all(m_hidden, ignored);
    }
}

std::filesystem::path OutputFolder::publish(std::string_view baseName)
{
    // One flush of the file system serves all files at once; flushing each costs a wait for the device per file.
    if (!m_folder || (syncfs(m_folder.get()) != 0 && errno != ENOSYS))
        throw StorageError();
    std::filesystem::path target =
        publishUnderFreeName(m_parent, baseName, {}, [this](const std::filesystem::path& candidate) {
            const int error = renameWithoutReplacing(m_hidden, candidate);
            if (!isUnknownCall(error))
                return error;
            // An empty folder made under the name reserves it, and a folder may be renamed onto an empty one.
            if (mkdir(candidate.c_str(), folderMode) != 0)
                return errno;
            if (rename(m_hidden.c_str(), candidate.c_str()) == 0)
                return 0;
            const int failure = errno;
            rmdir(candidate.c_str());
            return failure;
        });
    m_hidden.clear();
    syncFolder(m_parent);
    return target;
}

} // namespace Pelgra
