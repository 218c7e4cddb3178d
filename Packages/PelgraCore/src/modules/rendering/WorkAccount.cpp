#include "WorkAccount.h"

#include "parallel/Heartbeat.h"

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <numeric>
#include <utility>

#include <malloc.h>

namespace Pelgra::Rendering {

namespace {

/// Looking at a clock costs as much as a small allocation, asking for the processor time as much as many.
constexpr unsigned callsBetweenChecks = 32;
constexpr std::int64_t timeBetweenChecks = 10'000'000; // nanoseconds
constexpr double timeBetweenLooks = 1; // seconds
constexpr unsigned white = 0xFF;

thread_local WorkAccount* currentAccount = nullptr;

/// The time the thread was really running: on a busy machine a page gets no less.
double processorSeconds()
{
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

/// Nanoseconds of the clock that is read without a system call; it moves every few milliseconds.
std::int64_t coarseTime()
{
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
    return std::int64_t{now.tv_sec} * 1'000'000'000 + now.tv_nsec;
}

} // namespace

WorkAccount::WorkAccount()
    : m_allocator{this, &WorkAccount::allocate, &WorkAccount::reallocate, &WorkAccount::release}
{
}

void WorkAccount::begin(std::stop_token stop, std::span<const std::byte> bitmap, double shortLimit)
{
    m_cookie = {};
    m_callsSinceCheck = 0;
    m_refusedSize = 0;
    m_ranOutOfMemory = false;
    m_lastCheck = coarseTime();
    m_shortLimit = shortLimit;
    m_begin = processorSeconds();
    m_lastLook = 0;
    m_lastProgress = 0;
    m_lightness = std::uint64_t{white} * bitmap.size();
    m_stop = std::move(stop);
    m_bitmap = bitmap;
    m_isWorking = true;
    currentAccount = this;
}

bool WorkAccount::keep(std::shared_ptr<const void> thing)
{
    constexpr std::size_t mostThings = 64;
    if (m_kept.size() < mostThings)
        m_kept.insert(std::move(thing));
    else if (m_kept.count(thing) == 0)
        return false;
    return true;
}

void WorkAccount::end()
{
    m_isWorking = false;
    currentAccount = nullptr;
    m_stop = {};
    m_bitmap = {};
}

WorkAccount* WorkAccount::current()
{
    return currentAccount;
}

void WorkAccount::checkTime()
{
    if (m_stop.stop_requested())
        m_cookie.abort = 1;
    const std::int64_t now = coarseTime();
    if (now - m_lastCheck < timeBetweenChecks)
        return;
    m_lastCheck = now;
    const double spent = processorSeconds() - m_begin;
    if (spent - m_lastLook > timeBetweenLooks) {
        m_lastLook = spent;
        if (hasProgressed())
            m_lastProgress = spent;
    }
    if (spent > longLimit || spent - m_lastProgress > std::max(m_shortLimit, m_lastProgress))
        m_cookie.abort = 1;
}

bool WorkAccount::hasProgressed()
{
    const auto add = [](std::uint64_t sum, std::byte value) {
        return sum + std::to_integer<unsigned>(value);
    };
    const std::uint64_t before = m_lightness;
    m_lightness = std::accumulate(m_bitmap.begin(), m_bitmap.end(), std::uint64_t{0}, add);
    if (m_lightness != before)
        Heartbeat::beat();
    return m_lightness != before;
}

void* WorkAccount::grow(void* block, std::size_t size)
{
    if (m_isWorking && ++m_callsSinceCheck >= callsBetweenChecks) {
        m_callsSinceCheck = 0;
        checkTime();
    }
    if (m_refusedSize != 0 && size != m_refusedSize)
        m_ranOutOfMemory = true;
    const std::size_t before = malloc_usable_size(block);
    const std::size_t limit = memoryLimit + m_bitmap.size();
    const bool fits = size <= before || (size <= limit && m_used - before <= limit - size);
    const bool isOver = m_isWorking && m_cookie.abort != 0;
    void* const grown = fits && !isOver ? std::realloc(block, size) : nullptr;
    if (grown)
        m_used += malloc_usable_size(grown) - before;
    m_refusedSize = grown ? 0 : size;
    return grown;
}

void* WorkAccount::allocate(void* self, std::size_t size)
{
    return static_cast<WorkAccount*>(self)->grow(nullptr, size);
}

void* WorkAccount::reallocate(void* self, void* block, std::size_t size)
{
    return static_cast<WorkAccount*>(self)->grow(block, size);
}

void WorkAccount::release(void* self, void* block)
{
    auto& account = *static_cast<WorkAccount*>(self);
    account.m_used -= malloc_usable_size(block);
    std::free(block);
}

} // namespace Pelgra::Rendering
