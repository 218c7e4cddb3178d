#include "isolation/WorkerPool.h"

#include "isolation/Walls.h"

#include <algorithm>
#include <thread>
#include <utility>

namespace Pelgra {

WorkerPool& WorkerPool::shared()
{
    static auto* const pool = new WorkerPool; // threads of jobs may outlast statics
    return *pool;
}

WorkerGroup WorkerPool::newGroup()
{
    const std::lock_guard lock(m_mutex);
    return ++m_lastGroup;
}

std::unique_ptr<WorkerProcess> WorkerPool::take(WorkerGroup group)
{
    {
        const std::lock_guard lock(m_mutex);
        const auto ofGroup = [&](WorkerGroup wanted) {
            return std::ranges::find(m_waiting, wanted, &Waiting::group);
        };
        auto found = group == nobody ? m_waiting.end() : ofGroup(group);
        if (found == m_waiting.end())
            found = ofGroup(nobody);
        if (found != m_waiting.end()) {
            std::unique_ptr<WorkerProcess> worker = std::move(found->worker);
            m_waiting.erase(found);
            return worker;
        }
    }
    return WorkerProcess::start();
}

void WorkerPool::giveBack(std::unique_ptr<WorkerProcess> worker, WorkerGroup group)
{
    if (group != nobody)
        keep(std::move(worker), group);
}

void WorkerPool::keep(std::unique_ptr<WorkerProcess> worker, WorkerGroup group)
{
    const std::lock_guard lock(m_mutex);
    m_waiting.push_back({std::move(worker), group, std::chrono::steady_clock::now()});
    if (m_idleTime.count() > 0 && !std::exchange(m_isWatched, true))
        std::thread([this] { endIdle(); }).detach();
    m_changed.notify_all();
}

/// Runs on a thread of its own for as long as the process.
void WorkerPool::endIdle()
{
    std::unique_lock lock(m_mutex);
    for (;;) {
        std::vector<Waiting> tooOld;
        const auto now = std::chrono::steady_clock::now();
        auto next = now + m_idleTime;
        const auto isOld = [&](const Waiting& each) {
            return now - each.since >= m_idleTime;
        };
        for (Waiting& each : m_waiting)
            if (isOld(each))
                tooOld.push_back({std::move(each.worker), each.group, each.since});
            else
                next = std::min(next, each.since + m_idleTime);
        std::erase_if(m_waiting, [](const Waiting& each) { return !each.worker; });
        lock.unlock();
        tooOld.clear(); // waits for each to be gone
        lock.lock();
        if (m_waiting.empty())
            m_changed.wait(lock);
        else
            m_changed.wait_until(lock, next);
    }
}

void WorkerPool::end(WorkerGroup group)
{
    std::vector<Waiting> ended;
    const std::lock_guard lock(m_mutex);
    for (Waiting& each : m_waiting)
        if (each.group == group)
            ended.push_back({std::move(each.worker), each.group, each.since});
    std::erase_if(m_waiting, [](const Waiting& each) { return !each.worker; });
}

void WorkerPool::warmUp(int workers)
{
    const auto isNew = [](const Waiting& each) {
        return each.group == nobody;
    };
    for (;;) {
        {
            const std::lock_guard lock(m_mutex);
            // What was kept for a while is kept a while longer.
            for (Waiting& each : m_waiting)
                if (isNew(each))
                    each.since = std::chrono::steady_clock::now();
            if (std::ranges::count_if(m_waiting, isNew) + m_starting >= workers)
                return;
            ++m_starting;
        }
        std::unique_ptr<WorkerProcess> worker = WorkerProcess::start();
        const bool isStarted = worker != nullptr;
        if (isStarted)
            keep(std::move(worker), nobody);
        const std::lock_guard lock(m_mutex);
        --m_starting;
        if (!isStarted)
            return;
    }
}

void WorkerPool::setIdleTime(std::chrono::seconds time)
{
    const std::lock_guard lock(m_mutex);
    m_idleTime = time;
}

void WorkerPool::setLog(std::function<void(std::string_view)> log)
{
    const std::lock_guard lock(m_mutex);
    m_log = std::move(log);
}

void WorkerPool::log(std::string_view line)
{
    std::function<void(std::string_view)> log;
    {
        const std::lock_guard lock(m_mutex);
        log = m_log;
    }
    if (log)
        log(line);
}

void WorkerPool::logWalls(std::uint32_t standing)
{
    {
        const std::lock_guard lock(m_mutex);
        if (std::exchange(m_areWallsLogged, true) && m_loggedWalls == standing)
            return;
        m_loggedWalls = standing;
    }
    log(wallLine(standing));
}

WorkerGroupScope::WorkerGroupScope()
    : m_group(WorkerPool::shared().newGroup())
{
}

WorkerGroupScope::~WorkerGroupScope()
{
    WorkerPool::shared().end(m_group);
}

} // namespace Pelgra
