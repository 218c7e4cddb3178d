#pragma once

#include "isolation/WorkerProcess.h"

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string_view>
#include <vector>

namespace Pelgra {

/// Those for whom a worker may work one after another: files of one batch, pages of one document.
using WorkerGroup = std::uint64_t;

/// The workers that wait for work. Safe from several threads.
class WorkerPool {
public:
    /// The one of this process; never destroyed.
    static WorkerPool& shared();

    /// One for whatever needs it alone.
    static constexpr WorkerGroup nobody = 0;
    /// Those that make small pictures. They hold no file that could be damaged, so all of them are one group.
    static constexpr WorkerGroup pictures = 1;
    WorkerGroup newGroup();

    /// One that waits, best one of the group, else one that has done nothing yet, else a new one. Null where none can
    /// be started.
    std::unique_ptr<WorkerProcess> take(WorkerGroup group);
    /// Keeps one for the group; ends one that is of no group.
    void giveBack(std::unique_ptr<WorkerProcess> worker, WorkerGroup group);
    /// Ends those of a group.
    void end(WorkerGroup group);

    void warmUp(int workers);
    void setIdleTime(std::chrono::seconds time);
    void setLog(std::function<void(std::string_view)> log);
    void log(std::string_view line);
    /// Logs which walls stand, when that is news.
    void logWalls(std::uint32_t standing);

private:
    struct Waiting {
        std::unique_ptr<WorkerProcess> worker;
        WorkerGroup group; ///< nobody for a new one
        std::chrono::steady_clock::time_point since;
    };

    void keep(std::unique_ptr<WorkerProcess> worker, WorkerGroup group);
    void endIdle();

    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::vector<Waiting> m_waiting;
    std::chrono::seconds m_idleTime{0};
    bool m_isWatched = false;
    int m_starting = 0; ///< by warmUp()
    WorkerGroup m_lastGroup = pictures;
    std::function<void(std::string_view)> m_log;
    std::uint32_t m_loggedWalls = 0;
    bool m_areWallsLogged = false;
};

/// A group for as long as this lives.
class WorkerGroupScope {
public:
    WorkerGroupScope();
    WorkerGroupScope(const WorkerGroupScope&) = delete;
    WorkerGroupScope& operator=(const WorkerGroupScope&) = delete;
    ~WorkerGroupScope();
    WorkerGroup group() const { return m_group; }

private:
    WorkerGroup m_group;
};

} // namespace Pelgra
