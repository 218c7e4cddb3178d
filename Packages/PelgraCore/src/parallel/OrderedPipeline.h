#pragma once

#include "PelgraCore/EngineError.h"
#include "PelgraCore/JobControl.h"

#include <algorithm>
#include <condition_variable>
#include <cstddef>
#include <exception>
#include <functional>
#include <limits>
#include <mutex>
#include <optional>
#include <stop_token>
#include <thread>
#include <utility>
#include <vector>

namespace Pelgra {

/// Prepares items on several threads and takes them on the calling thread strictly in order.
///
/// prepare(index) runs on the workers and must be safe there; take(index, item) on the caller. A worker begins no item
/// further ahead of the caller than `window`, and takes `runLength` neighbouring items at a time. The first failure in
/// order, of prepare or take, is thrown once everything before it has been taken; what was prepared beyond it is
/// destroyed. With one worker nothing is started and each item is prepared and taken in turn. Throws JobCancelled soon
/// after a requested stop.
template <typename Item>
class OrderedPipeline {
public:
    OrderedPipeline(std::size_t count, int workers, std::size_t window, std::stop_token stop, std::size_t runLength = 1)
        : m_slots(count)
        , m_runLength(std::max<std::size_t>(runLength, 1))
        , m_workers(static_cast<int>(std::min<std::size_t>(static_cast<std::size_t>(std::max(workers, 1)), count)))
        , m_window(std::max<std::size_t>(window, 1))
        , m_stop(std::move(stop))
    {
    }

    void run(const std::function<Item(std::size_t)>& prepare, const std::function<void(std::size_t, Item)>& take)
    {
        if (m_workers <= 1)
            return runInTurn(prepare, take);
        runOnThreads([&] { work(prepare); }, take);
    }

    /// What makes an item, anywhere and at any time.
    using Job = std::function<Item()>;

    /// The same for items that begin with what must be done in order and by one thread at a time, such as reading the
    /// next rows: begin(index) does that and gives the job that makes the item.
    void runJobs(const std::function<Job(std::size_t)>& begin, const std::function<void(std::size_t, Item)>& take)
    {
        if (m_workers <= 1)
            return runInTurn([&](std::size_t index) { return begin(index)(); }, take);
        runOnThreads([&] { workInOrder(begin); }, take);
    }

private:
    struct Slot {
        std::optional<Item> item;
        std::exception_ptr failure;
        bool isFilled() const { return item || failure; }
    };

    /// Tells the workers that nobody is waiting any more.
    struct Ending {
        explicit Ending(OrderedPipeline& owner)
            : pipeline(owner)
        {
        }
        ~Ending()
        {
            const std::lock_guard lock(pipeline.m_mutex);
            pipeline.m_ended = true;
            pipeline.m_room.notify_all();
        }
        OrderedPipeline& pipeline;
    };

    void runOnThreads(const std::function<void()>& work, const std::function<void(std::size_t, Item)>& take)
    {
        std::vector<std::jthread> threads;
        const Ending ending(*this); // before the threads are joined, also when take() throws
        for (int i = 0; i < m_workers; ++i)
            threads.emplace_back(work);
        for (std::size_t index = 0; index < m_slots.size(); ++index)
            take(index, await(index));
    }

    void runInTurn(const std::function<Item(std::size_t)>& prepare, const std::function<void(std::size_t, Item)>& take)
    {
        for (std::size_t index = 0; index < m_slots.size(); ++index) {
            throwIfStopped();
            take(index, prepare(index));
        }
    }

    void throwIfStopped() const
    {
        if (m_stop.stop_requested())
            throw JobCancelled();
    }

    void work(const std::function<Item(std::size_t)>& prepare)
    {
        while (const std::optional<std::size_t> first = claim()) {
            const std::size_t end = std::min(*first + m_runLength, m_slots.size());
            for (std::size_t index = *first; index < end && isNeeded(index); ++index)
                fill(index, [&] { return prepare(index); });
        }
    }

    void workInOrder(const std::function<Job(std::size_t)>& begin)
    {
        for (;;) {
            std::unique_lock inOrder(m_beginning);
            const std::optional<std::size_t> index = claim();
            if (!index)
                return;
            // Where begin() throws, nobody begins anything before that is known.
            fill(*index, [&] {
                const Job job = begin(*index);
                inOrder.unlock();
                return job();
            });
        }
    }

    template <typename Make>
    void fill(std::size_t index, const Make& make)
    {
        std::optional<Item> item;
        std::exception_ptr failure;
        try {
            item.emplace(make());
        } catch (...) {
            failure = std::current_exception();
        }
        std::unique_lock lock(m_mutex);
        if (failure)
            m_firstFailure = std::min(m_firstFailure, index);
        else
            m_slots[index].item.emplace(std::move(*item));
        m_slots[index].failure = failure;
        const bool isAwaited = index == m_taken;
        lock.unlock();
        // Waking a thread for nothing costs as much as a small item.
        if (isAwaited)
            m_filled.notify_one();
        if (failure)
            m_room.notify_all();
    }

    /// Whether the caller still waits for an item that has been claimed.
    bool isNeeded(std::size_t index)
    {
        const std::lock_guard lock(m_mutex);
        return !m_ended && index < m_firstFailure && !m_stop.stop_requested();
    }

    /// The first of the next items to prepare, once it is within the window; none when there is nothing left to do.
    std::optional<std::size_t> claim()
    {
        std::unique_lock lock(m_mutex);
        const auto isOver = [this] {
            // What failed was claimed before, and nothing beyond it is needed.
            return m_ended || m_firstFailure < m_slots.size() || m_next == m_slots.size();
        };
        ++m_waitingWorkers;
        m_room.wait(lock, m_stop, [&] { return isOver() || m_next < m_taken + m_window; });
        --m_waitingWorkers;
        if (isOver() || m_stop.stop_requested())
            return std::nullopt;
        return std::exchange(m_next, std::min(m_next + m_runLength, m_slots.size()));
    }

    Item await(std::size_t index)
    {
        std::unique_lock lock(m_mutex);
        Slot& slot = m_slots[index];
        m_filled.wait(lock, m_stop, [&] { return slot.isFilled(); });
        throwIfStopped();
        m_taken = index + 1;
        const bool hasRoom = m_waitingWorkers > 0 && m_next < m_taken + m_window;
        if (slot.failure)
            std::rethrow_exception(slot.failure);
        Item item = std::move(*slot.item);
        slot.item.reset();
        lock.unlock();
        if (hasRoom)
            m_room.notify_one();
        return item;
    }

    std::vector<Slot> m_slots;
    std::size_t m_runLength;
    int m_workers;
    std::size_t m_window;
    std::stop_token m_stop;
    std::mutex m_beginning; ///< held by the worker that begins the next item
    std::mutex m_mutex;
    std::condition_variable_any m_filled; ///< the item that the caller waits for
    std::condition_variable_any m_room; ///< the window has moved on, or nothing more is needed
    std::size_t m_next = 0; ///< the first item no worker has claimed
    std::size_t m_taken = 0; ///< items the caller has taken
    int m_waitingWorkers = 0; ///< for the window to move on
    bool m_ended = false;
    std::size_t m_firstFailure = std::numeric_limits<std::size_t>::max();
};

} // namespace Pelgra
