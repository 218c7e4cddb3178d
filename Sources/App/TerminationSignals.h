#pragma once

#include <functional>

class QObject;

namespace Pelgra {

/// From here on a request to end the process (SIGTERM, SIGINT, SIGHUP) is kept for the event loop, so that one that
/// comes during the start is neither lost nor the end of a half-started process. A second one before the event loop is
/// there ends the process at once: the start itself may hang. To be called before anything else.
void catchTerminationSignals();

/// Calls the handler on the main thread when the process was or is asked to end. Once per process; the context outlives
/// the event loop.
void onTerminationSignal(QObject* context, std::function<void()> handler);

} // namespace Pelgra
