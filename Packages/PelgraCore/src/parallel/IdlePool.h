#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

namespace Pelgra {

/// Helpers that take long to open and serve one thread at a time: one that is idle is lent, and where there is none
/// another is opened. So there are as many as are at work at once. Safe from several threads.
template <typename Helper>
class IdlePool {
public:
    using Open = std::function<std::unique_ptr<Helper>()>;

    /// May begin with one that is open already. `open` is called from the threads that need a helper.
    explicit IdlePool(Open open, std::unique_ptr<Helper> first = nullptr)
        : m_open(std::move(open))
    {
        if (first)
            m_idle.push_back(std::move(first));
    }

    /// One of the pool for as long as this lives. Throws what opening throws.
    class Lease {
    public:
        explicit Lease(IdlePool& pool)
            : m_pool(pool)
            , m_helper(pool.take())
        {
        }
        Lease(const Lease&) = delete;
        Lease& operator=(const Lease&) = delete;
        ~Lease() { m_pool.giveBack(std::move(m_helper)); }
        Helper& operator*() const { return *m_helper; }
        Helper* operator->() const { return m_helper.get(); }

    private:
        IdlePool& m_pool;
        std::unique_ptr<Helper> m_helper;
    };

    /// Closes those that are not lent.
    void closeIdle()
    {
        const std::lock_guard lock(m_mutex);
        m_idle.clear();
    }

private:
    std::unique_ptr<Helper> take()
    {
        {
            const std::lock_guard lock(m_mutex);
            if (!m_idle.empty()) {
                std::unique_ptr<Helper> helper = std::move(m_idle.back());
                m_idle.pop_back();
                return helper;
            }
        }
        return m_open();
    }

    void giveBack(std::unique_ptr<Helper> helper)
    {
        const std::lock_guard lock(m_mutex);
        m_idle.push_back(std::move(helper));
    }

    const Open m_open;
    std::mutex m_mutex;
    std::vector<std::unique_ptr<Helper>> m_idle;
};

} // namespace Pelgra
