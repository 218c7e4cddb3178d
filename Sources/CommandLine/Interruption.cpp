#include "CommandLine/Interruption.h"

#include <array>
#include <cstdint>

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <unistd.h>

namespace Pelgra {

Interruption::Interruption()
{
    sigemptyset(&m_watched);
    for (int number : {SIGINT, SIGTERM, SIGHUP}) {
        struct sigaction action{};
        // A blocked signal reaches a signalfd even where it was to be ignored (nohup, a background job).
        if (sigaction(number, nullptr, &action) == 0 && action.sa_handler != SIG_IGN)
            sigaddset(&m_watched, number);
    }
    m_wakeUp = eventfd(0, EFD_CLOEXEC);
    m_signals = signalfd(-1, &m_watched, SFD_CLOEXEC);
    if (m_wakeUp < 0 || m_signals < 0)
        return; // without them a signal simply ends the process
    pthread_sigmask(SIG_BLOCK, &m_watched, &m_previousMask);
    m_thread = std::thread([this] { watch(); });
}

Interruption::~Interruption()
{
    if (m_thread.joinable()) {
        const std::uint64_t one = 1;
        if (write(m_wakeUp, &one, sizeof one) == sizeof one)
            m_thread.join();
        else
            m_thread.detach();
        pthread_sigmask(SIG_SETMASK, &m_previousMask, nullptr);
    }
    close(m_wakeUp);
    close(m_signals);
}

void Interruption::watch()
{
    std::array<pollfd, 2> sources{pollfd{m_wakeUp, POLLIN, 0}, pollfd{m_signals, POLLIN, 0}};
    for (;;) {
        if (poll(sources.data(), sources.size(), -1) < 0)
            continue;
        if (sources[0].revents != 0)
            return;
        signalfd_siginfo information{};
        if (read(m_signals, &information, sizeof information) != sizeof information)
            continue;
        const int number = static_cast<int>(information.ssi_signo);
        if (m_signal != 0)
            _exit(128 + number);
        m_signal = number;
        m_source.request_stop();
    }
}

} // namespace Pelgra
