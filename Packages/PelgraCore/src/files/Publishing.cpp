#include "files/Publishing.h"

#include "files/FileBroker.h"
#include "files/UniqueDescriptor.h"

#include <cstdio>

#include <fcntl.h>
#include <linux/fs.h>
#include <unistd.h>

namespace Pelgra {

std::filesystem::path directoryOrHere(const std::filesystem::path& directory)
{
    return directory.empty() ? std::filesystem::path(".") : directory;
}

int renameWithoutReplacing(const std::filesystem::path& from, const std::filesystem::path& to)
{
    return renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0 ? 0 : errno;
}

bool isUnknownCall(int error)
{
    return error == EINVAL || error == ENOSYS || error == ENOTSUP;
}

bool flushToDevice(int descriptor)
{
    while (fsync(descriptor) != 0) {
        if (errno == EINVAL || errno == EROFS || errno == ENOTSUP)
            return true; // the file system has nothing to flush
        if (errno != EINTR)
            return false;
    }
    return true;
}

void syncFolder(const std::filesystem::path& directory)
{
    if (fileBroker())
        return; // the outputs are not in a folder of this process
    const UniqueDescriptor folder(open(directoryOrHere(directory).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    // A folder that may be written but not read cannot be flushed; its files are complete all the same.
    if (!folder)
        return;
    if (!flushToDevice(folder.get()))
        throw StorageError();
}

} // namespace Pelgra
