// Linked with the main function of the desktop program into pelgra-desktop-watched, which tells how long its main
// thread works at a time. For every spell from one return of the event loop's poll to its next call it adds a line to
// the file that PELGRA_EVENT_LOOP_LOG names: milliseconds of the clock; of the processor; of waiting for a processor
// that others had, by the thread itself or, while it waited for them, by those that work for it: the X server (process
// PELGRA_EVENT_LOOP_SERVER), and the program's own threads that are there from the start, as its jobs' are not.
// Then what ran longest in it, as the events after which no other came for that long.
#include <QCoreApplication>
#include <QEvent>
#include <QMetaEnum>
#include <QObject>

#include <glib.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <numeric>
#include <string>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

namespace {

double milliseconds(clockid_t clock)
{
    timespec time = {};
    clock_gettime(clock, &time);
    return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_nsec) / 1e6;
}

/// Tells for how long a thread could have run but had no processor, since its start (Linux, /proc/PID/schedstat: the
/// second number, in nanoseconds).
class ProcessorWait {
public:
    explicit ProcessorWait(const std::string& folder)
        : m_file(open((folder + "/schedstat").c_str(), O_RDONLY | O_CLOEXEC))
    {
    }

    double milliseconds() const
    {
        char text[96] = {};
        if (m_file < 0 || pread(m_file, text, sizeof text - 1, 0) <= 0)
            return 0;
        char* end = text;
        std::strtoull(text, &end, 10);
        return static_cast<double>(std::strtoull(end, nullptr, 10)) / 1e6;
    }

private:
    int m_file; ///< open as long as the process
};

double sumOf(const std::vector<ProcessorWait>& waits)
{
    return std::accumulate(waits.begin(), waits.end(), 0.0,
                           [](double sum, const ProcessorWait& wait) { return sum + wait.milliseconds(); });
}

/// The waits of everything that works for the main thread.
std::vector<ProcessorWait> findHelpers()
{
    std::vector<ProcessorWait> helpers;
    for (const auto& thread : std::filesystem::directory_iterator("/proc/self/task")) {
        if (thread.path().filename() != std::to_string(getpid()))
            helpers.emplace_back(thread.path().string());
    }
    if (const char* const server = std::getenv("PELGRA_EVENT_LOOP_SERVER"))
        helpers.emplace_back(std::string("/proc/") + server);
    return helpers;
}

/// What the thread did from an event's delivery until the next one's.
struct Stretch {
    double duration = 0;
    const char* receiver = "";
    int type = QEvent::None;
};

class EventLoopWatch : public QObject {
public:
    explicit EventLoopWatch(const char* log)
        : m_log(open(log, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600))
    {
        self = this;
        QCoreApplication::instance()->installEventFilter(this);
        connect(QCoreApplication::instance(), &QCoreApplication::aboutToQuit, this, [this] { end(); });
        g_main_context_set_poll_func(nullptr, poll);
    }

    bool eventFilter(QObject* receiver, QEvent* event) override
    {
        change({0, receiver->metaObject()->className(), event->type()});
        return false;
    }

private:
    static int poll(GPollFD* descriptors, guint count, int timeout)
    {
        self->end();
        const int ready = g_poll(descriptors, count, timeout);
        self->begin();
        return ready;
    }

    void begin()
    {
        if (m_helpers.empty())
            m_helpers = findHelpers();
        m_longest = {};
        m_wait = m_own.milliseconds();
        m_helpersWait = sumOf(m_helpers);
        m_processor = milliseconds(CLOCK_THREAD_CPUTIME_ID);
        m_clock = m_since = milliseconds(CLOCK_MONOTONIC);
        m_present = {0, "no object", QEvent::None};
    }

    void end()
    {
        if (m_clock == 0)
            return; // the very first call
        change({});
        const double clock = m_since - m_clock;
        const double processor = milliseconds(CLOCK_THREAD_CPUTIME_ID) - m_processor;
        const double wait = m_own.milliseconds() - m_wait;
        const double answers = std::max(0.0, clock - processor - wait);
        const double waiting = wait + std::min(answers, sumOf(m_helpers) - m_helpersWait);
        char line[512];
        int size = std::snprintf(line, sizeof line, "%.3f %.3f %.3f", clock, processor, waiting);
        for (const Stretch& stretch : m_longest) {
            const char* const name = QMetaEnum::fromType<QEvent::Type>().valueToKey(stretch.type);
            if (stretch.duration > 0.5 && size < 400)
                size += std::snprintf(line + size, 100, " %.60s:%.20s=%.1f", stretch.receiver, name ? name : "own",
                                      stretch.duration);
        }
        line[size++] = '\n';
        if (write(m_log, line, static_cast<std::size_t>(size)) < 0)
            std::perror("PELGRA_EVENT_LOOP_LOG");
    }

    void change(const Stretch& next)
    {
        const double now = milliseconds(CLOCK_MONOTONIC);
        m_present.duration = now - m_since;
        m_since = now;
        const auto least = std::min_element(m_longest.begin(), m_longest.end(),
                                            [](const auto& a, const auto& b) { return a.duration < b.duration; });
        if (m_present.duration > least->duration)
            *least = m_present;
        m_present = next;
    }

    static inline EventLoopWatch* self = nullptr;
    int m_log;
    double m_clock = 0;
    double m_processor = 0;
    double m_wait = 0;
    double m_helpersWait = 0;
    ProcessorWait m_own{"/proc/self"};
    std::vector<ProcessorWait> m_helpers;
    double m_since = 0;
    Stretch m_present;
    std::array<Stretch, 3> m_longest;
};

void watch()
{
    if (const char* const log = std::getenv("PELGRA_EVENT_LOOP_LOG"))
        new EventLoopWatch(log); // lasts as long as the process
}

} // namespace

Q_COREAPP_STARTUP_FUNCTION(watch)
