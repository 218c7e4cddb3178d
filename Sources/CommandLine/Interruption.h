#pragma once

#include <atomic>
#include <stop_token>
#include <thread>

#include <signal.h>

namespace Pelgra {

/// Turns SIGINT, SIGTERM and SIGHUP into a stop request for as long as it lives; a second signal ends the process at
/// once. Signals that were ignored stay ignored. Create it before any other thread, so that all inherit its mask.
class Interruption {
public:
    Interruption();
    Interruption(const Interruption&) = delete;
    Interruption& operator=(const Interruption&) = delete;
    ~Interruption();

    std::stop_token token() const { return m_source.get_token(); }

    /// The exit status that says which signal came: 128 + its number; 0 when none did.
    int exitStatus() const { return m_signal == 0 ? 0 : 128 + m_signal; }

private:
    void watch();

    sigset_t m_watched{};
    sigset_t m_previousMask{};
    int m_wakeUp = -1; ///< eventfd that ends the thread
    int m_signals = -1; ///< signalfd
    std::stop_source m_source;
    std::atomic<int> m_signal = 0;
    std::thread m_thread;
};

} // namespace Pelgra
