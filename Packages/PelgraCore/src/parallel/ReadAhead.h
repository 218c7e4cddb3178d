#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <exception>
#include <functional>
#include <mutex>
#include <optional>
#include <stop_token>
#include <thread>
#include <utility>

namespace Pelgra {

/// Makes items one after the other on a thread of its own, a few ahead of whoever takes them, so that the making of one
/// and the use of another go on at once. With nothing ahead no thread is started and each is made when it is taken.
/// One thread takes.
template <typename Item>
class ReadAhead {
public:
    /// Gives the next item, or none at the end.
    using Make = std::function<std::optional<Item>()>;

    ReadAhead(std::size_t ahead, Make make)
        : m_ahead(ahead)
        , m_make(std::move(make))
    {
        if (m_ahead > 0)
            m_thread = std::jthread([this](const std::stop_token& stop) { work(stop); });
    }
    ReadAhead(const ReadAhead&) = delete;
    ReadAhead& operator=(const ReadAhead&) = delete;
    ~ReadAhead() = default; // the thread ends with the item it is at

    /// The next item; none at the end. Throws, in its place, what the making of an item threw, which is the end too.
    std::optional<Item> next()
    {
        if (m_ahead == 0)
            return m_make();
        std::unique_lock lock(m_mutex);
        m_changed.wait(lock, [this] { return !m_items.empty() || m_ended; });
        if (m_items.empty()) {
            if (m_failure)
                std::rethrow_exception(m_failure);
            return std::nullopt;
        }
        std::optional<Item> item(std::move(m_items.front()));
        m_items.pop_front();
        lock.unlock();
        m_changed.notify_one();
        return item;
    }

private:
    void work(const std::stop_token& stop)
    {
        std::exception_ptr failure;
        try {
            while (std::optional<Item> item = m_make()) {
                std::unique_lock lock(m_mutex);
                m_items.push_back(*std::move(item));
                m_changed.notify_one();
                if (!m_changed.wait(lock, stop, [this] { return m_items.size() < m_ahead; }))
                    break;
            }
        } catch (...) {
            failure = std::current_exception();
        }
        const std::lock_guard lock(m_mutex);
        m_failure = failure;
        m_ended = true;
        m_changed.notify_one();
    }

    const std::size_t m_ahead;
    const Make m_make;
    std::mutex m_mutex;
    std::condition_variable_any m_changed; ///< an item came or went; only one side ever waits
    std::deque<Item> m_items;
    std::exception_ptr m_failure;
    bool m_ended = false;
    std::jthread m_thread; ///< last, so that it has ended before anything else goes
};

} // namespace Pelgra
