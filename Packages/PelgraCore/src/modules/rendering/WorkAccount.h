#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <set>
#include <span>
#include <stop_token>
#include <utility>

#include <mupdf/fitz.h>

namespace Pelgra::Rendering {

/// What one context may spend. MuPDF allocates through it, and allocation is the one thing it does all the time, so
/// this is also where time is watched: past the limit every further allocation fails and the cookie asks for an end.
/// That stops the decoders too, which never look at the cookie.
class WorkAccount {
public:
    /// Bytes MuPDF may hold at once. While a page is drawn, as many as its bitmap has are added: layers are bitmaps
    /// too.
    static constexpr std::size_t memoryLimit = std::size_t{512} << 20;

    /// Seconds without progress, unless told otherwise.
    static constexpr double usualShortLimit = 8;

    WorkAccount();
    WorkAccount(const WorkAccount&) = delete;
    WorkAccount& operator=(const WorkAccount&) = delete;

    /// For fz_new_context(). Points to this account, which must outlive the context.
    const fz_alloc_context* allocator() const { return &m_allocator; }

    /// Begins a piece of work on the calling thread. It ends itself when the stop is requested, after longLimit
    /// seconds of the thread's processor time, or when nothing new has appeared in the bitmap for shortLimit seconds,
    /// or for as long as it had taken until the last change: a page that keeps showing more is given more time. The
    /// bitmap, not the library's own, begins white and may be empty.
    void begin(std::stop_token stop, std::span<const std::byte> bitmap, double shortLimit);
    /// Ends the piece of work; allocation works again, however it ended.
    void end();

    /// Whether the work was cut off by time or a stop, or lacks something for which there was no memory. MuPDF itself
    /// leaves out a picture that is too large and goes on.
    bool isCutOff() const { return m_cookie.abort != 0 || m_ranOutOfMemory || m_refusedSize != 0; }
    fz_cookie* cookie() { return &m_cookie; }

    /// The account whose piece of work is under way on this thread, or null: for decoders with memory of their own.
    static WorkAccount* current();
    /// Keeps something alive as long as the context. False where it keeps too much already.
    bool keep(std::shared_ptr<const void> thing);
    /// Makes the piece of work count as one that ran out of memory.
    void noteRefusal() { m_ranOutOfMemory = true; }

private:
    static constexpr double longLimit = 60; // seconds

    static void* allocate(void* self, std::size_t size);
    static void* reallocate(void* self, void* block, std::size_t size);
    static void release(void* self, void* block);
    void* grow(void* block, std::size_t size);
    void checkTime();
    bool hasProgressed();

    fz_alloc_context m_allocator{};
    fz_cookie m_cookie{};
    std::size_t m_used = 0;
    bool m_isWorking = false;
    unsigned m_callsSinceCheck = 0;
    /// The size last refused. The library then empties its caches and asks for it again, over and over until it gives
    /// up; what it asks for next tells whether it had to.
    std::size_t m_refusedSize = 0;
    bool m_ranOutOfMemory = false;
    std::int64_t m_lastCheck = 0; ///< in nanoseconds of a coarse clock
    double m_shortLimit = usualShortLimit;
    double m_begin = 0; ///< processor time of the thread in seconds
    double m_lastLook = 0; ///< at the bitmap, in seconds since the beginning, as the next
    double m_lastProgress = 0;
    std::uint64_t m_lightness = 0; ///< of the bitmap at the last look
    std::stop_token m_stop;
    std::span<const std::byte> m_bitmap;
    std::set<std::shared_ptr<const void>> m_kept;
};

/// Holds a piece of work open.
class Work {
public:
    explicit Work(WorkAccount& account, std::stop_token stop = {}, std::span<const std::byte> bitmap = {},
                  double shortLimit = WorkAccount::usualShortLimit)
        : m_account(account)
    {
        m_account.begin(std::move(stop), bitmap, shortLimit);
    }
    Work(const Work&) = delete;
    Work& operator=(const Work&) = delete;
    ~Work() { m_account.end(); }

private:
    WorkAccount& m_account;
};

} // namespace Pelgra::Rendering
