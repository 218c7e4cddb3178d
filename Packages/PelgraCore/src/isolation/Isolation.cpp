#include "PelgraCore/Isolation.h"

#include "isolation/Messages.h"
#include "isolation/Walls.h"
#include "isolation/WorkerPool.h"

#include <atomic>
#include <utility>

#include <poll.h>

namespace Pelgra::Isolation {

namespace {

std::atomic_bool areWorkersUsed = false;

} // namespace

void useWorkers(int idleSeconds)
{
    WorkerPool::shared().setIdleTime(std::chrono::seconds(idleSeconds));
    areWorkersUsed = true;
}

bool usesWorkers()
{
    return areWorkersUsed;
}

void warmUp(int workers)
{
    WorkerPool::shared().warmUp(workers);
}

void setLog(std::function<void(std::string_view line)> log)
{
    WorkerPool::shared().setLog(std::move(log));
}

std::vector<std::string> report()
{
    constexpr int patience = 10'000; // milliseconds
    const std::unique_ptr<WorkerProcess> worker = WorkerProcess::start();
    if (!worker)
        return {"The worker cannot be started."};
    pollfd source{worker->channel().descriptor(), POLLIN, 0};
    try {
        const auto received = poll(&source, 1, patience) > 0 ? worker->channel().receive() : std::nullopt;
        const ReportPacket packet = ReportPacket::decoded(received ? received->bytes : Bytes());
        if (packet.kind == Report::walls)
            return wallReport(packet.number);
    } catch (const ProtocolError&) {
        // As if it had said nothing.
    }
    return {"The worker does not begin (" + worker->end() + ")."};
}

} // namespace Pelgra::Isolation
