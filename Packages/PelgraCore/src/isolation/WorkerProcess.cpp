#include "isolation/WorkerProcess.h"

#include "modules/ModuleLoader.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <new>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Pelgra {

namespace {

/// Locale, language data and where fonts are. Sanitizers have settings of their own.
bool isPassedOn(std::string_view variable)
{
    for (const std::string_view start : {"LANG=", "LANGUAGE=", "LC_", "TESSDATA_PREFIX=", "HOME=", "XDG_DATA_HOME=",
                                         "XDG_CACHE_HOME=", "XDG_CONFIG_HOME=", "OMP_THREAD_LIMIT="})
        if (variable.starts_with(start))
            return true;
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    return variable.starts_with("ASAN_") || variable.starts_with("UBSAN_") || variable.starts_with("TSAN_");
#else
    return false;
#endif
}

std::vector<char*> workerEnvironment()
{
    std::vector<char*> variables;
    for (char** variable = environ; variable && *variable; ++variable)
        if (isPassedOn(*variable))
            variables.push_back(*variable);
    variables.push_back(nullptr);
    return variables;
}

class SpawnActions {
public:
    SpawnActions() { posix_spawn_file_actions_init(&m_actions); }
    SpawnActions(const SpawnActions&) = delete;
    SpawnActions& operator=(const SpawnActions&) = delete;
    ~SpawnActions() { posix_spawn_file_actions_destroy(&m_actions); }
    posix_spawn_file_actions_t* get() { return &m_actions; }

private:
    posix_spawn_file_actions_t m_actions{};
};

/// Nothing of the caller's is inherited: neither handled nor blocked signals.
class SpawnAttributes {
public:
    SpawnAttributes()
    {
        posix_spawnattr_init(&m_attributes);
        sigset_t signals;
        sigfillset(&signals);
        posix_spawnattr_setsigdefault(&m_attributes, &signals);
        sigemptyset(&signals);
        posix_spawnattr_setsigmask(&m_attributes, &signals);
        posix_spawnattr_setflags(&m_attributes, POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK);
    }
    SpawnAttributes(const SpawnAttributes&) = delete;
    SpawnAttributes& operator=(const SpawnAttributes&) = delete;
    ~SpawnAttributes() { posix_spawnattr_destroy(&m_attributes); }
    const posix_spawnattr_t* get() const { return &m_attributes; }

private:
    posix_spawnattr_t m_attributes{};
};

/// The process number, or -1.
pid_t spawn(int channel, int heartbeat)
{
    const std::string program = (moduleFolder() / "pelgra-worker").string();
    std::string argument = program;
    char* arguments[] = {argument.data(), nullptr};
    std::vector<char*> environment = workerEnvironment();
    SpawnActions actions;
    const SpawnAttributes attributes;
    // Both are moved out of the way first: either may have the number the other is to get.
    const UniqueDescriptor channelCopy(fcntl(channel, F_DUPFD_CLOEXEC, workerHeartbeatDescriptor + 1));
    const UniqueDescriptor heartbeatCopy(fcntl(heartbeat, F_DUPFD_CLOEXEC, workerHeartbeatDescriptor + 1));
    if (!channelCopy || !heartbeatCopy)
        return -1;
    for (const int standard : {STDIN_FILENO, STDOUT_FILENO})
        posix_spawn_file_actions_addopen(actions.get(), standard, "/dev/null", O_RDWR, 0);
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
    // Libraries complain there about files; sanitizers have better reasons.
    posix_spawn_file_actions_addopen(actions.get(), STDERR_FILENO, "/dev/null", O_RDWR, 0);
#endif
    posix_spawn_file_actions_adddup2(actions.get(), channelCopy.get(), workerChannelDescriptor);
    posix_spawn_file_actions_adddup2(actions.get(), heartbeatCopy.get(), workerHeartbeatDescriptor);
    posix_spawn_file_actions_addclosefrom_np(actions.get(), workerHeartbeatDescriptor + 1);
    pid_t process = -1;
    const int error =
        posix_spawn(&process, program.c_str(), actions.get(), attributes.get(), arguments, environment.data());
    return error == 0 ? process : -1;
}

void* sharedMemory(int descriptor)
{
    if (ftruncate(descriptor, sizeof(Heartbeat::Shared)) != 0
        || fcntl(descriptor, F_ADD_SEALS, F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_SEAL) != 0)
        return nullptr;
    void* const memory = mmap(nullptr, sizeof(Heartbeat::Shared), PROT_READ | PROT_WRITE, MAP_SHARED, descriptor, 0);
    return memory == MAP_FAILED ? nullptr : memory;
}

} // namespace

std::unique_ptr<WorkerProcess> WorkerProcess::start()
{
    auto ends = Channel::pair();
    const UniqueDescriptor memory(memfd_create("pelgra-heartbeat", MFD_CLOEXEC | MFD_ALLOW_SEALING));
    void* const place = memory ? sharedMemory(memory.get()) : nullptr;
    if (!ends || !place)
        return nullptr;
    auto* const heartbeat = new (place) Heartbeat::Shared();
    const pid_t process = spawn(ends->second.descriptor(), memory.get());
    if (process < 0) {
        munmap(place, sizeof(Heartbeat::Shared));
        return nullptr;
    }
    return std::unique_ptr<WorkerProcess>(new WorkerProcess(process, std::move(ends->first), heartbeat));
}

WorkerProcess::WorkerProcess(pid_t process, Channel channel, Heartbeat::Shared* heartbeat)
    : m_process(process)
    , m_channel(std::move(channel))
    , m_heartbeat(heartbeat)
{
}

WorkerProcess::~WorkerProcess()
{
    end();
    munmap(m_heartbeat, sizeof(Heartbeat::Shared));
}

double WorkerProcess::processorSeconds() const
{
    clockid_t clock{};
    timespec time{};
    if (m_process < 0 || clock_getcpuclockid(m_process, &clock) != 0 || clock_gettime(clock, &time) != 0)
        return 0;
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

bool WorkerProcess::isStopped() const
{
    siginfo_t information{};
    return m_process > 0 && waitid(P_PID, static_cast<id_t>(m_process), &information, WSTOPPED | WNOHANG | WNOWAIT) == 0
        && information.si_pid == m_process;
}

void WorkerProcess::takeNiceValue() const
{
    errno = 0;
    const int value = getpriority(PRIO_PROCESS, 0);
    if (errno == 0 && m_process > 0)
        setpriority(PRIO_PROCESS, static_cast<id_t>(m_process), value);
}

std::string WorkerProcess::end()
{
    if (m_process < 0)
        return {};
    const pid_t process = std::exchange(m_process, -1);
    kill(process, SIGKILL);
    int status = 0;
    while (waitpid(process, &status, 0) < 0)
        if (errno != EINTR)
            return "unknown";
    return WIFSIGNALED(status) ? "signal " + std::to_string(WTERMSIG(status))
                               : "status " + std::to_string(WEXITSTATUS(status));
}

} // namespace Pelgra
