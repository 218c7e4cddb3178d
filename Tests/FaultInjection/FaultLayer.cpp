// Preloaded into a program, this fails one of its system calls on output files and folders, chosen by the environment:
//   PELGRA_FAULT_CALL   write, fsync, linkat or close
//   PELGRA_FAULT_AT     which call of that kind fails, from 1 on; calls before and after it work
//   PELGRA_FAULT_ERROR  the error number it fails with
//   PELGRA_FAULT_SHORT  if set, every write takes no more than half of what it is given
//   PELGRA_FAULT_POOR   if set, the file system knows neither unnamed files nor links nor renaming without replacing
#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdlib>
#include <cstring>

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

template <typename Function>
Function* real(const char* name)
{
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

bool isSet(const char* name)
{
    return std::getenv(name) != nullptr;
}

/// Whether the descriptor is an output: a regular file opened for writing.
bool isOutput(int descriptor)
{
    struct stat status{};
    return fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode)
        && (fcntl(descriptor, F_GETFL) & O_ACCMODE) != O_RDONLY;
}

bool isFolder(int descriptor)
{
    struct stat status{};
    return fstat(descriptor, &status) == 0 && S_ISDIR(status.st_mode);
}

/// Counts a call of the chosen kind; true, with errno set, when it is the one to fail.
bool fails(const char* call)
{
    static std::atomic<int> count = 0;
    static const char* const chosen = std::getenv("PELGRA_FAULT_CALL");
    static const char* const at = std::getenv("PELGRA_FAULT_AT");
    static const char* const error = std::getenv("PELGRA_FAULT_ERROR");
    if (!chosen || !at || !error || std::strcmp(chosen, call) != 0 || ++count != std::atoi(at))
        return false;
    errno = std::atoi(error);
    return true;
}

std::size_t taken(std::size_t size)
{
    return isSet("PELGRA_FAULT_SHORT") && size > 1 ? size / 2 : size;
}

} // namespace

extern "C" {

ssize_t write(int descriptor, const void* bytes, size_t size)
{
    static auto* const next = real<ssize_t(int, const void*, size_t)>("write");
    if (!isOutput(descriptor))
        return next(descriptor, bytes, size);
    return fails("write") ? -1 : next(descriptor, bytes, taken(size));
}

ssize_t pwrite(int descriptor, const void* bytes, size_t size, off_t offset)
{
    static auto* const next = real<ssize_t(int, const void*, size_t, off_t)>("pwrite");
    if (!isOutput(descriptor))
        return next(descriptor, bytes, size, offset);
    return fails("write") ? -1 : next(descriptor, bytes, taken(size), offset);
}

int fsync(int descriptor)
{
    static auto* const next = real<int(int)>("fsync");
    if ((isOutput(descriptor) || isFolder(descriptor)) && fails("fsync"))
        return -1;
    return next(descriptor);
}

int linkat(int fromFolder, const char* from, int toFolder, const char* to, int flags)
{
    static auto* const next = real<int(int, const char*, int, const char*, int)>("linkat");
    return fails("linkat") ? -1 : next(fromFolder, from, toFolder, to, flags);
}

int link(const char* from, const char* to)
{
    static auto* const next = real<int(const char*, const char*)>("link");
    if (!isSet("PELGRA_FAULT_POOR"))
        return next(from, to);
    errno = EPERM;
    return -1;
}

int renameat2(int fromFolder, const char* from, int toFolder, const char* to, unsigned flags) noexcept
{
    static auto* const next = real<int(int, const char*, int, const char*, unsigned)>("renameat2");
    if (!isSet("PELGRA_FAULT_POOR") || flags == 0)
        return next(fromFolder, from, toFolder, to, flags);
    errno = EINVAL;
    return -1;
}

int open(const char* path, int flags, ...)
{
    static auto* const next = real<int(const char*, int, ...)>("open");
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = (flags & (O_CREAT | __O_TMPFILE)) != 0 ? va_arg(arguments, mode_t) : 0;
    va_end(arguments);
    if ((flags & O_TMPFILE) == O_TMPFILE && isSet("PELGRA_FAULT_POOR")) {
        errno = EOPNOTSUPP;
        return -1;
    }
    return next(path, flags, mode);
}

int close(int descriptor)
{
    static auto* const next = real<int(int)>("close");
    const bool failing = isOutput(descriptor) && fails("close");
    const int error = errno;
    const int result = next(descriptor);
    if (!failing)
        return result;
    errno = error;
    return -1;
}
}
