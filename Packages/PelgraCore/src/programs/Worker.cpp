// Reads files for the process that started it, behind walls. It begins with a socket and a page of shared memory under
// the numbers in WorkerProcess.h, and needs nothing else.
#include "isolation/WorkerProcess.h"
#include "parallel/Heartbeat.h"
#include "programs/ProcessAbove.h"
#include "programs/RaiseWalls.h"
#include "programs/WorkerTasks.h"

#include <csignal>
#include <cstdio>
#include <exception>
#include <thread>

#include <fcntl.h>
#include <malloc.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <unistd.h>

namespace Pelgra {

namespace {

ProcessAbove* processAbove = nullptr;

bool isStartedAsWorker()
{
    int type = 0;
    socklen_t size = sizeof type;
    return getsockopt(workerChannelDescriptor, SOL_SOCKET, SO_TYPE, &type, &size) == 0 && type == SOCK_SEQPACKET;
}

void leaveSigns()
{
    void* const memory =
        mmap(nullptr, sizeof(Heartbeat::Shared), PROT_READ | PROT_WRITE, MAP_SHARED, workerHeartbeatDescriptor, 0);
    if (memory != MAP_FAILED)
        Heartbeat::leaveSignsIn(*static_cast<Heartbeat::Shared*>(memory));
    close(workerHeartbeatDescriptor);
}

/// Decoders allocate and free the same memory for every tile of a picture. Keeping it saves the system from handing
/// out fresh pages each time.
void keepFreedMemory()
{
    mallopt(M_MMAP_THRESHOLD, 4 << 20);
    mallopt(M_TOP_PAD, 16 << 20);
}

[[noreturn]] void work()
{
    fcntl(workerChannelDescriptor, F_SETFD, FD_CLOEXEC);
    static ProcessAbove above{Channel(UniqueDescriptor(workerChannelDescriptor))};
    processAbove = &above;
    setFileBroker(&above);
    leaveSigns();
    keepFreedMemory();
    ReportPacket walls;
    walls.kind = Report::walls;
    walls.number = raiseWalls([](std::uint32_t number) { processAbove->reportRefusedCall(number); });
    std::thread([] { processAbove->watch(); }).detach();
    above.report(walls);
    WorkerTasks tasks([](const ReportPacket& packet) { above.report(packet); });
    for (;;)
        tasks.run(above.awaitTask());
}

} // namespace

} // namespace Pelgra

int main()
{
    if (!Pelgra::isStartedAsWorker()) {
        std::fputs("pelgra-worker is started by Pelgra alone.\n", stderr);
        return 2;
    }
    signal(SIGXFSZ, SIG_IGN); // a file beyond the allowed size is an error of the write
    try {
        Pelgra::work();
    } catch (const std::exception&) {
        _exit(1); // the process above broke the rules
    }
}
