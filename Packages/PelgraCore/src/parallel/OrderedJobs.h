#pragma once

#include <deque>
#include <functional>
#include <future>
#include <utility>

namespace Pelgra {

/// Runs jobs on a number of threads and hands over their results one by one in the order the jobs were given, on the
/// caller's thread. At most one result for each thread waits, so memory stays bounded. With one thread nothing else is
/// started. What a job or the receiver throws comes out of add() or finish(); the destructor waits for running jobs.
template <typename Result>
class OrderedJobs {
public:
    OrderedJobs(int threads, std::function<void(Result)> receive)
        : m_threads(threads < 1 ? 1 : threads)
        , m_receive(std::move(receive))
    {
    }

    void add(std::function<Result()> job)
    {
        const auto policy = m_threads > 1 ? std::launch::async : std::launch::deferred;
        m_jobs.push_back(std::async(policy, std::move(job)));
        if (m_jobs.size() >= static_cast<std::size_t>(m_threads))
            receiveFirst();
    }

    void finish()
    {
        while (!m_jobs.empty())
            receiveFirst();
    }

private:
    void receiveFirst()
    {
        std::future<Result> first = std::move(m_jobs.front());
        m_jobs.pop_front();
        m_receive(first.get());
    }

    int m_threads;
    std::function<void(Result)> m_receive;
    std::deque<std::future<Result>> m_jobs;
};

} // namespace Pelgra
