#pragma once

#include <functional>

class QObject;

namespace Pelgra {

/// Calls the handler on the main thread when the process is asked to end (SIGTERM, SIGINT, SIGHUP). Once per process;
/// the context outlives the event loop.
void onTerminationSignal(QObject* context, std::function<void()> handler);

} // namespace Pelgra
