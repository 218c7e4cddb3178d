#include "WorkAccount.h"

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <utility>

#include <malloc.h>

namespace Pelgra::Rendering {

namespace {

/// Looking at the clock costs as much as several small allocations.
constexpr unsigned callsBetweenChecks = 32;
constexpr auto white = std::byte{0xFF};

thread_local WorkAccount* currentAccount = nullptr;

/// Time the thread was really running: a busy machine takes nothing from a page's share.
double processorSeconds()
{
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

} // namespace

WorkAccount::WorkAccount()
    : m_allocator{this, &WorkAccount::allocate, &WorkAccount::reallocate, &WorkAccount::release}
{
}

void WorkAccount::begin(std::stop_token stop, std::span<const std::byte> bitmap)
{
    m_cookie = {};
    m_callsSinceCheck = 0;
    m_refusedSize = 0;
    m_ranOutOfMemory = false;
    m_begin = processorSeconds();
    m_resultWasSeen = false;
    m_stop = std::move(stop);
    m_bitmap = bitmap;
    m_isWorking = true;
    currentAccount = this;
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
    const double spent = processorSeconds() - m_begin;
    if (!m_resultWasSeen && spent > shortLimit) {
        m_resultWasSeen = std::any_of(m_bitmap.begin(), m_bitmap.end(), [](std::byte value) { return value != white; });
        if (!m_resultWasSeen)
            m_cookie.abort = 1;
    }
    if (spent > longLimit || m_stop.stop_requested())
        m_cookie.abort = 1;
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
