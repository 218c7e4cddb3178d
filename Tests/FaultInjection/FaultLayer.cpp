// Preloaded into a program, this fails one of its system calls on output files and folders, or one of those by which it
// and its worker talk, chosen by the environment:
//   PELGRA_FAULT_CALL    one of the names in `calls` below
//   PELGRA_FAULT_AT      which call of that kind fails, from 1 on; calls before and after it work
//   PELGRA_FAULT_LASTING if set, those after it fail too
//   PELGRA_FAULT_ERROR   the error number it fails with
//   PELGRA_FAULT_COUNTS  a file to be written at the program's end: how many calls of each kind it made
//   PELGRA_FAULT_SHARED  a file in which the program and its worker count together
//   PELGRA_FAULT_SPIN    if set, the worker does not fail but computes for ever
//   PELGRA_FAULT_HURRY   if set, the processor time of other processes seems to pass thirty times as fast
//   PELGRA_FAULT_DISK    how many bytes the disk holds; what comes after does not fit
//   PELGRA_FAULT_SHORT   if set, every write takes no more than half of what it is given
//   PELGRA_FAULT_POOR    if set, the file system knows neither unnamed files nor links nor renaming without replacing
#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <vector>

#include <dlfcn.h>
#include <fcntl.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
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

/// Whether the descriptor is an output: a regular file opened for writing, and not memory that is shared.
bool isOutput(int descriptor)
{
    struct stat status{};
    const int seals = fcntl(descriptor, F_GET_SEALS);
    if (seals > 0 && (seals & F_SEAL_GROW) != 0)
        return false;
    return fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode)
        && (fcntl(descriptor, F_GETFL) & O_ACCMODE) != O_RDONLY;
}

bool isFolder(int descriptor)
{
    struct stat status{};
    return fstat(descriptor, &status) == 0 && S_ISDIR(status.st_mode);
}

/// "open" makes a file, "flush file" and "flush folder" are fsync, "write" is pwrite too.
constexpr std::array calls{"open",      "write",  "flush file",  "flush folder", "syncfs",
                           "renameat2", "rename", "linkat",      "mkdir",        "close",
                           "spawn",     "send",   "worker send", "receive",      "worker receive"};
struct Counts {
    std::array<std::atomic<int>, calls.size()> perCall{};
    std::atomic<std::int64_t> bytes = 0; ///< written to outputs
};

/// In a file where one is named, so that both processes count as one.
Counts& counts()
{
    static Counts* const found = [] {
        const char* const path = std::getenv("PELGRA_FAULT_SHARED");
        // Not through the functions below, which count.
        const int file = path ? static_cast<int>(syscall(SYS_openat, AT_FDCWD, path, O_RDWR | O_CREAT, 0600)) : -1;
        if (file < 0 || ftruncate(file, sizeof(Counts)) != 0)
            return new Counts();
        void* const memory = mmap(nullptr, sizeof(Counts), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
        syscall(SYS_close, file);
        return memory == MAP_FAILED ? new Counts() : static_cast<Counts*>(memory);
    }();
    return *found;
}

bool isWorker()
{
    static const bool is = std::strcmp(program_invocation_short_name, "pelgra-worker") == 0;
    return is;
}

/// Counts a call of that kind; true, with errno set, when it is one to fail.
bool fails(const char* call)
{
    static const char* const chosen = std::getenv("PELGRA_FAULT_CALL");
    static const char* const at = std::getenv("PELGRA_FAULT_AT");
    static const char* const error = std::getenv("PELGRA_FAULT_ERROR");
    const auto isCall = [call](const char* name) {
        return std::strcmp(name, call) == 0;
    };
    const auto kind = std::find_if(calls.begin(), calls.end(), isCall) - calls.begin();
    const int count = ++counts().perCall.at(static_cast<std::size_t>(kind));
    if (!chosen || !at || !error || !isCall(chosen))
        return false;
    const int first = std::atoi(at);
    if (count < first || (count > first && !isSet("PELGRA_FAULT_LASTING")))
        return false;
    errno = std::atoi(error);
    for (std::atomic<bool> isSpinning = isWorker() && isSet("PELGRA_FAULT_SPIN"); isSpinning;) { }
    return true;
}

/// Tells the counts when the program ends.
struct Report {
    Report() { counts(); } // before there are walls
    Report(const Report&) = delete;
    Report& operator=(const Report&) = delete;
    ~Report()
    {
        const char* const path = std::getenv("PELGRA_FAULT_COUNTS");
        std::FILE* const file = path && !isWorker() ? std::fopen(path, "w") : nullptr;
        if (!file)
            return;
        for (std::size_t kind = 0; kind < calls.size(); ++kind)
            std::fprintf(file, "%s=%d\n", calls[kind], counts().perCall[kind].load());
        std::fprintf(file, "bytes=%lld\n", static_cast<long long>(counts().bytes));
        std::fclose(file);
    }
};
const Report report;

std::size_t taken(std::size_t size)
{
    return isSet("PELGRA_FAULT_SHORT") && size > 1 ? size / 2 : size;
}

/// How much of a write is done: what fits on the disk. -1, with errno set, where nothing is.
ssize_t fitting(std::size_t size)
{
    static const char* const disk = std::getenv("PELGRA_FAULT_DISK");
    if (fails("write"))
        return -1;
    const auto wanted = static_cast<std::int64_t>(taken(size));
    const std::int64_t before = counts().bytes.fetch_add(wanted);
    const std::int64_t left = disk ? std::max<std::int64_t>(std::atoll(disk) - before, 0) : wanted;
    if (left == 0 && wanted > 0) {
        errno = ENOSPC;
        return -1;
    }
    return std::min(wanted, left);
}

} // namespace

extern "C" {

ssize_t write(int descriptor, const void* bytes, size_t size)
{
    static auto* const next = real<ssize_t(int, const void*, size_t)>("write");
    if (!isOutput(descriptor))
        return next(descriptor, bytes, size);
    const ssize_t count = fitting(size);
    return count < 0 ? -1 : next(descriptor, bytes, static_cast<std::size_t>(count));
}

ssize_t pwrite(int descriptor, const void* bytes, size_t size, off_t offset)
{
    static auto* const next = real<ssize_t(int, const void*, size_t, off_t)>("pwrite");
    if (!isOutput(descriptor))
        return next(descriptor, bytes, size, offset);
    const ssize_t count = fitting(size);
    return count < 0 ? -1 : next(descriptor, bytes, static_cast<std::size_t>(count), offset);
}

int fsync(int descriptor)
{
    static auto* const next = real<int(int)>("fsync");
    if (isOutput(descriptor) && fails("flush file"))
        return -1;
    if (isFolder(descriptor) && fails("flush folder"))
        return -1;
    return next(descriptor);
}

int syncfs(int descriptor) noexcept
{
    static auto* const next = real<int(int)>("syncfs");
    return fails("syncfs") ? -1 : next(descriptor);
}

int linkat(int fromFolder, const char* from, int toFolder, const char* to, int flags) noexcept
{
    static auto* const next = real<int(int, const char*, int, const char*, int)>("linkat");
    return fails("linkat") ? -1 : next(fromFolder, from, toFolder, to, flags);
}

int link(const char* from, const char* to) noexcept
{
    static auto* const next = real<int(const char*, const char*)>("link");
    if (!isSet("PELGRA_FAULT_POOR"))
        return next(from, to);
    errno = EPERM;
    return -1;
}

int rename(const char* from, const char* to) noexcept
{
    static auto* const next = real<int(const char*, const char*)>("rename");
    return fails("rename") ? -1 : next(from, to);
}

int renameat2(int fromFolder, const char* from, int toFolder, const char* to, unsigned flags) noexcept
{
    static auto* const next = real<int(int, const char*, int, const char*, unsigned)>("renameat2");
    if (flags != 0 && isSet("PELGRA_FAULT_POOR")) {
        errno = EINVAL;
        return -1;
    }
    return fails("renameat2") ? -1 : next(fromFolder, from, toFolder, to, flags);
}

int mkdir(const char* path, mode_t mode) noexcept
{
    static auto* const next = real<int(const char*, mode_t)>("mkdir");
    return fails("mkdir") ? -1 : next(path, mode);
}

/// The worker is given no environment of the caller's; this layer and what it is told go along all the same.
int posix_spawn(pid_t* process, const char* path, const posix_spawn_file_actions_t* actions,
                const posix_spawnattr_t* attributes, char* const arguments[], char* const environment[])
{
    static auto* const next = real<int(pid_t*, const char*, const posix_spawn_file_actions_t*, const posix_spawnattr_t*,
                                       char* const[], char* const[])>("posix_spawn");
    if (fails("spawn"))
        return errno;
    std::vector<char*> variables;
    for (char* const* variable = environment; *variable; ++variable)
        variables.push_back(*variable);
    for (char** variable = environ; *variable; ++variable)
        if (std::strncmp(*variable, "PELGRA_FAULT_", 13) == 0 || std::strncmp(*variable, "LD_PRELOAD=", 11) == 0)
            variables.push_back(*variable);
    variables.push_back(nullptr);
    return next(process, path, actions, attributes, arguments, variables.data());
}

int clock_gettime(clockid_t clock, timespec* time) noexcept
{
    static auto* const next = real<int(clockid_t, timespec*)>("clock_gettime");
    constexpr int factor = 30;
    const int result = next(clock, time);
    if (result == 0 && clock < 0 && isSet("PELGRA_FAULT_HURRY")) { // a number below zero means a process
        const std::int64_t nanoseconds = (time->tv_sec * 1'000'000'000 + time->tv_nsec) * factor;
        time->tv_sec = nanoseconds / 1'000'000'000;
        time->tv_nsec = nanoseconds % 1'000'000'000;
    }
    return result;
}

ssize_t sendmsg(int descriptor, const msghdr* message, int flags)
{
    static auto* const next = real<ssize_t(int, const msghdr*, int)>("sendmsg");
    return fails(isWorker() ? "worker send" : "send") ? -1 : next(descriptor, message, flags);
}

ssize_t recvmsg(int descriptor, msghdr* message, int flags)
{
    static auto* const next = real<ssize_t(int, msghdr*, int)>("recvmsg");
    return fails(isWorker() ? "worker receive" : "receive") ? -1 : next(descriptor, message, flags);
}

int open(const char* path, int flags, ...)
{
    static auto* const next = real<int(const char*, int, ...)>("open");
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = (flags & (O_CREAT | __O_TMPFILE)) != 0 ? va_arg(arguments, mode_t) : 0;
    va_end(arguments);
    const bool isUnnamed = (flags & O_TMPFILE) == O_TMPFILE;
    if (isUnnamed && isSet("PELGRA_FAULT_POOR")) {
        errno = EOPNOTSUPP;
        return -1;
    }
    if ((isUnnamed || (flags & O_CREAT) != 0) && fails("open"))
        return -1;
    return next(path, flags, mode);
}

int close(int descriptor)
{
    static auto* const next = real<int(int)>("close");
    // The worker's copy of a descriptor has nothing to tell.
    const bool failing = !isWorker() && isOutput(descriptor) && fails("close");
    const int error = errno;
    const int result = next(descriptor);
    if (!failing)
        return result;
    errno = error;
    return -1;
}
}
