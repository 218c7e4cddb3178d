#include "App/TerminationSignals.h"

#include <QObject>
#include <QSocketNotifier>

#include <csignal>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

namespace Pelgra {

namespace {

int signalPipe[2] = {-1, -1};

void tellEventLoop(int)
{
    // All that a signal handler may do.
    const char wake = 1;
    [[maybe_unused]] const ssize_t ignored = write(signalPipe[1], &wake, 1);
}

void install(int flags)
{
    struct sigaction action = {};
    action.sa_handler = tellEventLoop;
    action.sa_flags = SA_RESTART | flags;
    for (const int number : {SIGTERM, SIGINT, SIGHUP})
        sigaction(number, &action, nullptr);
}

} // namespace

void catchTerminationSignals()
{
    if (signalPipe[0] < 0 && pipe2(signalPipe, O_CLOEXEC | O_NONBLOCK) == 0)
        install(static_cast<int>(SA_RESETHAND));
}

void onTerminationSignal(QObject* context, std::function<void()> handler)
{
    if (signalPipe[0] < 0)
        return;
    auto* const notifier = new QSocketNotifier(signalPipe[0], QSocketNotifier::Read, context);
    QObject::connect(notifier, &QSocketNotifier::activated, context, [notifier, handler = std::move(handler)] {
        notifier->setEnabled(false);
        handler();
    });
    install(0);
}

} // namespace Pelgra
