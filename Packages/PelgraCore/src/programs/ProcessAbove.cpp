#include "programs/ProcessAbove.h"

#include "files/ByteSink.h"

#include <algorithm>
#include <array>
#include <span>

#include <poll.h>
#include <unistd.h>

namespace Pelgra {

namespace {

[[noreturn]] void leave()
{
    _exit(0); // nothing of ours is unfinished, and what threads still do is wanted by nobody
}

struct RequestPacket {
    Request kind = Request::refused;
    std::span<const std::byte> content;
};

RequestPacket takenApart(const Bytes& bytes)
{
    const std::span<const std::byte> all(bytes);
    FieldReader fields(all.first(std::min(all.size(), sizeof(std::uint32_t))));
    const auto kind = static_cast<Request>(fields.below(requestKinds));
    return {kind, all.subspan(sizeof(std::uint32_t))};
}

} // namespace

ProcessAbove::ProcessAbove(Channel channel)
    : m_channel(std::move(channel))
{
}

Task ProcessAbove::awaitTask()
{
    Bytes task;
    for (;;) {
        const auto received = m_channel.receive();
        if (!received)
            leave();
        const RequestPacket packet = takenApart(received->bytes);
        if (packet.kind != Request::taskPart && packet.kind != Request::task)
            throw ProtocolError("an answer without a wish");
        if (packet.content.size() > taskLimit - task.size())
            throw ProtocolError("a task that is too long");
        task.insert(task.end(), packet.content.begin(), packet.content.end());
        if (packet.kind == Request::task) {
            Task whole = Task::decoded(task);
            m_places = whole.places;
            return whole;
        }
    }
}

void ProcessAbove::report(const ReportPacket& packet) const
{
    if (m_channel.send(packet.encoded()) != Channel::Sent::whole)
        leave();
}

void ProcessAbove::reportRefusedCall(std::uint32_t number) const noexcept
{
    const std::array fields{static_cast<std::uint32_t>(Report::refusedCall), number};
    m_channel.send(std::as_bytes(std::span(fields)), -1, false);
}

void ProcessAbove::watch() const
{
    pollfd source{m_channel.descriptor(), 0, 0};
    for (;;)
        if (poll(&source, 1, -1) > 0)
            leave();
}

std::optional<UniqueDescriptor> ProcessAbove::ask(Report wish, std::uint32_t number)
{
    const std::lock_guard lock(m_asking);
    ReportPacket packet;
    packet.kind = wish;
    packet.number = number;
    report(packet);
    auto received = m_channel.receive();
    if (!received)
        leave();
    const Request answer = takenApart(received->bytes).kind;
    if (answer != Request::granted && answer != Request::refused)
        throw ProtocolError("no answer to a wish");
    if (answer == Request::refused)
        return std::nullopt;
    return std::move(received->descriptor);
}

int ProcessAbove::openInput(const std::filesystem::path& input)
{
    std::optional<UniqueDescriptor> answer = ask(Report::wantsInput, inputNumberOf(input));
    return answer ? answer->release() : -1;
}

FilePlaces ProcessAbove::placesOf(const std::filesystem::path& input)
{
    const std::uint32_t number = inputNumberOf(input);
    return number < m_places.size() ? m_places[number] : FilePlaces();
}

int ProcessAbove::openOutput(int number)
{
    std::optional<UniqueDescriptor> answer = ask(Report::wantsOutput, static_cast<std::uint32_t>(number));
    if (!answer || !*answer)
        throw StorageError();
    return answer->release();
}

void ProcessAbove::finishOutput(int number)
{
    if (!ask(Report::finishedOutput, static_cast<std::uint32_t>(number)))
        throw StorageError();
}

void ProcessAbove::beginFolder(int files)
{
    ReportPacket packet;
    packet.kind = Report::pageCount;
    packet.number = static_cast<std::uint32_t>(files);
    report(packet);
}

} // namespace Pelgra
