#pragma once

#include "isolation/Channel.h"
#include "parallel/Heartbeat.h"

#include <memory>

#include <sys/types.h>

namespace Pelgra {

/// The descriptors a worker begins with, besides the standard ones.
inline constexpr int workerChannelDescriptor = 3;
inline constexpr int workerHeartbeatDescriptor = 4;

/// A worker that was started here. It ends with this, whatever it is doing. One thread at a time.
class WorkerProcess {
public:
    /// Starts one, without waiting for it. Null where that fails.
    static std::unique_ptr<WorkerProcess> start();
    WorkerProcess(const WorkerProcess&) = delete;
    WorkerProcess& operator=(const WorkerProcess&) = delete;
    ~WorkerProcess();

    const Channel& channel() const { return m_channel; }

    /// Processor time of all its threads so far, in seconds.
    double processorSeconds() const;
    const Heartbeat::Shared& heartbeat() const { return *m_heartbeat; }

    /// Whether someone has stopped it (SIGSTOP).
    bool isStopped() const;

    /// Gives it the nice value of the calling thread; that can only become greater.
    void takeNiceValue() const;

    /// Ends it at once and says how it ended: "signal 11", for example.
    std::string end();

private:
    WorkerProcess(pid_t process, Channel channel, Heartbeat::Shared* heartbeat);

    pid_t m_process; ///< -1 once it is gone
    Channel m_channel;
    Heartbeat::Shared* m_heartbeat;
};

} // namespace Pelgra
