#include "programs/RaiseWalls.h"

#include "isolation/Walls.h"
#include "programs/Landlock.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <memory>

#include <fcntl.h>
#include <sched.h>
#include <seccomp.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <ucontext.h>
#include <unistd.h>

namespace Pelgra {

namespace {

void (*tellRefusal)(std::uint32_t) = nullptr;

/// The call returns -EPERM, as if the kernel had refused it, and the library goes on as it would then.
void onRefusedCall(int, siginfo_t* information, void* context)
{
    const auto number = static_cast<std::uint32_t>(information->si_syscall);
    auto& machine = static_cast<ucontext_t*>(context)->uc_mcontext;
#if defined(__x86_64__)
    machine.gregs[REG_RAX] = -EPERM;
#elif defined(__aarch64__)
    machine.regs[0] = static_cast<unsigned long long>(-EPERM);
#elif defined(__riscv)
    machine.__gregs[REG_A0] = static_cast<unsigned long>(-EPERM);
#else
    static_cast<void>(machine); // the call returns what its register held, which no caller takes for success
#endif
    tellRefusedCall(number);
}

struct FilterDeleter {
    void operator()(void* filter) const { seccomp_release(filter); }
};
using Filter = std::unique_ptr<void, FilterDeleter>;

/// What decoders, the C library and the loader of modules need. Names that a machine does not have are passed over.
constexpr const char* allowedCalls[] = {
    // Bytes of files that are open.
    "read", "write", "readv", "writev", "pread64", "pwrite64", "preadv", "pwritev", "lseek", "_llseek", "close",
    "close_range", "ftruncate", "ftruncate64", "fallocate", "sync_file_range", "fadvise64", "dup", "dup2", "dup3",
    "fcntl", "fcntl64", "sendmsg", "recvmsg", "poll", "ppoll", "ppoll_time64", "pipe2", "eventfd2",
    // What is known of files; Landlock bounds what can be opened, and names are no secret of the worker's user.
    "fstat", "fstat64", "stat", "stat64", "lstat", "lstat64", "newfstatat", "fstatat64", "statx", "access", "faccessat",
    "faccessat2", "readlink", "readlinkat", "getdents", "getdents64", "getcwd", "statfs", "statfs64", "fstatfs",
    "fstatfs64",
    // Memory.
    "brk", "mmap", "mmap2", "munmap", "mprotect", "mremap", "madvise", "memfd_create",
    // Threads of this process.
    "futex", "futex_time64", "set_robust_list", "get_robust_list", "rseq", "set_tid_address", "membarrier", "gettid",
    "getpid", "getppid", "sched_yield", "sched_getaffinity", "sched_setaffinity", "sched_getparam",
    "sched_getscheduler", "sched_get_priority_max", "sched_get_priority_min", "getpriority", "exit", "exit_group",
    "restart_syscall", "arch_prctl", "set_thread_area", "getcpu", "riscv_flush_icache", "riscv_hwprobe",
    // Clocks, signals to itself, and what is known of the machine.
    "clock_gettime", "clock_gettime64", "clock_getres", "clock_getres_time64", "clock_nanosleep",
    "clock_nanosleep_time64", "nanosleep", "gettimeofday", "time", "times", "rt_sigaction", "rt_sigprocmask",
    "rt_sigreturn", "sigaltstack", "getrandom", "uname", "sysinfo", "getrusage", "getrlimit", "ugetrlimit", "getuid",
    "geteuid", "getgid", "getegid", "umask"};

/// Calls that libraries try without need. They fail as on a system without them, and nobody is told.
struct Quiet {
    const char* name;
    int error;
};
constexpr Quiet quietCalls[] = {
    {"clone3", ENOSYS}, // its flags cannot be looked at; the C library then uses clone
    {"ioctl", ENOTTY},
    {"get_mempolicy", ENOSYS},
    {"set_mempolicy", ENOSYS},
    {"mbind", ENOSYS},
    {"sched_setscheduler", EPERM},
    {"setpriority", EPERM},
    {"prctl", EPERM},
    {"mlock", EPERM},
    {"openat2", ENOSYS},
    {"utimensat", EPERM},
    {"futex_waitv", ENOSYS},
};

bool allow(scmp_filter_ctx filter, const char* name, std::initializer_list<scmp_arg_cmp> conditions = {})
{
    const int number = seccomp_syscall_resolve_name(name);
    if (number == __NR_SCMP_ERROR)
        return true;
    const int error = seccomp_rule_add_array(filter, SCMP_ACT_ALLOW, number, static_cast<unsigned>(conditions.size()),
                                             conditions.begin());
    return error == 0 || error == -EDOM; // a call of other machines
}

bool fillFilter(scmp_filter_ctx filter)
{
    bool isComplete = true;
    for (const char* const name : allowedCalls)
        isComplete &= allow(filter, name);
    constexpr auto writing = static_cast<scmp_datum_t>(O_ACCMODE | O_CREAT | O_TRUNC | O_APPEND);
    isComplete &= allow(filter, "open", {SCMP_A1(SCMP_CMP_MASKED_EQ, writing, O_RDONLY)});
    isComplete &= allow(filter, "openat", {SCMP_A2(SCMP_CMP_MASKED_EQ, writing, O_RDONLY)});
    // A thread shares its memory and its files; what does not is a process.
    constexpr auto thread = static_cast<scmp_datum_t>(CLONE_VM | CLONE_THREAD | CLONE_SIGHAND);
    isComplete &= allow(filter, "clone", {SCMP_A0(SCMP_CMP_MASKED_EQ, thread, thread)});
    const auto self = static_cast<scmp_datum_t>(getpid());
    isComplete &= allow(filter, "tgkill", {SCMP_A0(SCMP_CMP_EQ, self)}); // abort()
    isComplete &= allow(filter, "prlimit64", {SCMP_A0(SCMP_CMP_EQ, 0)}); // of itself, below what cannot be raised
    isComplete &= allow(filter, "prctl", {SCMP_A0(SCMP_CMP_EQ, PR_SET_NAME)});
    for (const auto& [name, error] : quietCalls) {
        const int number = seccomp_syscall_resolve_name(name);
        if (number != __NR_SCMP_ERROR)
            seccomp_rule_add(filter, SCMP_ACT_ERRNO(static_cast<std::uint32_t>(error)), number, 0);
    }
    return isComplete;
}

bool filterCalls()
{
    struct sigaction action{};
    action.sa_sigaction = &onRefusedCall;
    action.sa_flags = SA_SIGINFO | SA_NODEFER;
    const Filter filter(seccomp_init(SCMP_ACT_TRAP));
    return filter && sigaction(SIGSYS, &action, nullptr) == 0 && fillFilter(filter.get())
        && seccomp_load(filter.get()) == 0;
}

bool setLimit(int resource, rlim_t value)
{
    const rlimit limit{value, value};
    return setrlimit(static_cast<__rlimit_resource_t>(resource), &limit) == 0;
}

bool limitMemory()
{
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    return false; // sanitizers need far more than the program
#else
    return setLimit(RLIMIT_DATA, workerMemoryLimit());
#endif
}

} // namespace

std::uint32_t raiseWalls(void (*refused)(std::uint32_t), std::uint32_t leftOut)
{
    std::uint32_t standing = 0;
    const auto isAsked = [leftOut](Wall wall) {
        return (leftOut & static_cast<std::uint32_t>(wall)) == 0;
    };
    const auto note = [&standing](Wall wall, bool stands) {
        standing |= stands ? static_cast<std::uint32_t>(wall) : 0;
    };
    tellRefusal = refused;
    setsid();
    setLimit(RLIMIT_CORE, 0);
    prctl(PR_SET_DUMPABLE, 0); // nobody looks into it either
    // The others need this one.
    note(Wall::noNewPrivileges, prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0);
    if (isAsked(Wall::memory))
        note(Wall::memory, limitMemory());
    standing |= confineByLandlock(leftOut);
    if (isAsked(Wall::calls))
        note(Wall::calls, filterCalls());
    return standing;
}

void tellRefusedCall(std::uint32_t number) noexcept
{
    static std::array<std::atomic_flag, 1024> told;
    if (tellRefusal && !told[number % told.size()].test_and_set())
        tellRefusal(number);
}

void limitTaskMemory(std::uint64_t bytes)
{
    rlimit limit{};
    if (getrlimit(RLIMIT_DATA, &limit) != 0 || limit.rlim_max == RLIM_INFINITY)
        return;
    limit.rlim_cur = bytes == 0 ? limit.rlim_max : std::min<rlim_t>(bytes, limit.rlim_max);
    setrlimit(RLIMIT_DATA, &limit);
}

} // namespace Pelgra
