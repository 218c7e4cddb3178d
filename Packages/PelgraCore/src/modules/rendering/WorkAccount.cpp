#include "WorkAccount.h"

#include <cstdlib>
#include <ctime>
#include <utility>

#include <malloc.h>

namespace Pelgra::Rendering {

namespace {

/// Looking at the clock costs as much as several small allocations.
constexpr unsigned callsBetweenChecks = 32;

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

void WorkAccount::begin(std::stop_token stop, std::function<bool()> hasResult)
{
    m_cookie = {};
    m_callsSinceCheck = 0;
    m_begin = processorSeconds();
    m_resultWasSeen = false;
    m_stop = std::move(stop);
    m_hasResult = std::move(hasResult);
    m_isWorking = true;
}

void WorkAccount::end()
{
    m_isWorking = false;
    m_stop = {};
    m_hasResult = {};
}

void WorkAccount::checkTime()
{
    const double spent = processorSeconds() - m_begin;
    if (!m_resultWasSeen && spent > shortLimit) {
        m_resultWasSeen = m_hasResult && m_hasResult();
        if (!m_resultWasSeen)
            m_cookie.abort = 1;
    }
    if (spent > longLimit || m_stop.stop_requested())
        m_cookie.abort = 1;
}

bool WorkAccount::mayGrowBy(std::size_t size)
{
    if (m_isWorking && ++m_callsSinceCheck >= callsBetweenChecks) {
        m_callsSinceCheck = 0;
        checkTime();
    }
    return !(m_isWorking && m_cookie.abort) && size <= memoryLimit && m_used <= memoryLimit - size;
}

void* WorkAccount::allocate(void* self, std::size_t size)
{
    auto& account = *static_cast<WorkAccount*>(self);
    if (!account.mayGrowBy(size))
        return nullptr;
    void* const block = std::malloc(size);
    account.m_used += malloc_usable_size(block);
    return block;
}

void* WorkAccount::reallocate(void* self, void* block, std::size_t size)
{
    auto& account = *static_cast<WorkAccount*>(self);
    const std::size_t before = malloc_usable_size(block);
    if (size > before && !account.mayGrowBy(size - before))
        return nullptr;
    void* const moved = std::realloc(block, size);
    if (moved)
        account.m_used += malloc_usable_size(moved) - before;
    return moved;
}

void WorkAccount::release(void* self, void* block)
{
    auto& account = *static_cast<WorkAccount*>(self);
    account.m_used -= malloc_usable_size(block);
    std::free(block);
}

} // namespace Pelgra::Rendering
