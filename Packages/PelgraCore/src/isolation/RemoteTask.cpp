#include "isolation/RemoteTask.h"

#include "files/ByteSink.h"
#include "files/FileBytes.h"
#include "isolation/CallNames.h"
#include "parallel/WorkerCount.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <utility>

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Pelgra {

namespace {

/// Processor time without a sign of progress. Pages watch themselves and give up after 8 s, alone.
constexpr double patience = 9; // seconds
/// Large pictures rightly take longer, and there is nothing to be seen of them meanwhile: the slowest of real ones, a
/// HEIC of 48 megapixels in 9 MB, takes 6 s.
constexpr double secondsPerMegabyte = 2;
/// The most that a step may add which cannot tell of progress.
constexpr std::uint32_t longestStep = 600; // seconds
/// How long a worker may sleep while a task is under way: the device it reads from may take long.
constexpr std::int64_t longestSleep = 60'000; // milliseconds
constexpr double hardlyAnything = 0.05; // seconds of processor time
constexpr int lookInterval = 100; // milliseconds
constexpr int mostWarnings = 1000;
constexpr int mostPages = 1 << 24;

std::int64_t milliseconds()
{
    using namespace std::chrono;
    return duration_cast<std::chrono::milliseconds>(steady_clock::now().time_since_epoch()).count();
}

std::string nameOf(const std::filesystem::path& file)
{
    return (file.has_filename() ? file.filename() : file.parent_path().filename()).string();
}

/// Copying documents takes memory by their size; only what a few bytes unfold into takes more.
std::uint64_t memoryForDocuments(std::span<const std::filesystem::path> inputs)
{
    constexpr std::uint64_t base = std::uint64_t{960} << 20;
    constexpr std::uint64_t factor = 8;
    std::uint64_t bytes = 0;
    for (const auto& input : inputs) {
        std::error_code error;
        const std::uintmax_t size = std::filesystem::file_size(input, error);
        bytes += error ? 0 : std::min<std::uintmax_t>(size, base);
    }
    return base + factor * bytes;
}

Task completed(Task task, std::span<const std::filesystem::path> inputs)
{
    task.inputs.clear();
    std::ranges::transform(inputs, std::back_inserter(task.inputs), nameOf);
    if (task.kind == Task::Kind::merge || task.kind == Task::Kind::organize || task.kind == Task::Kind::split) {
        task.memory = memoryForDocuments(inputs);
        std::ranges::transform(inputs, std::back_inserter(task.places), placesOf);
    }
    return task;
}

} // namespace

RemoteTask::RemoteTask(Task task, std::span<const std::filesystem::path> inputs, const JobControl& control,
                       WorkerGroup group, OpenInput openInput)
    : m_task(completed(std::move(task), inputs))
    , m_inputs(inputs.begin(), inputs.end())
    , m_control(control)
    , m_group(group)
    , m_openInput(std::move(openInput))
    , m_worker(WorkerPool::shared().take(group))
{
    if (!m_worker)
        giveUp("it could not be started");
    m_worker->takeNiceValue();
    m_lastSign = m_worker->heartbeat().beats.load(std::memory_order_relaxed);
    m_secondsAtSign = m_secondsAtWaking = m_worker->processorSeconds();
    m_awakeSince = milliseconds();
    if (m_control.stop.stop_possible()) {
        m_stopped.reset(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
        m_onStop.emplace(m_control.stop, [descriptor = m_stopped.get()] {
            const std::uint64_t one = 1;
            // It cannot be full. Without it the stop is seen a tenth of a second later.
            [[maybe_unused]] const ssize_t written = write(descriptor, &one, sizeof one);
        });
    }
    sendTask();
}

RemoteTask::~RemoteTask()
{
    m_onStop.reset();
    if (m_isDone)
        WorkerPool::shared().giveBack(std::move(m_worker), m_group);
}

void RemoteTask::sendTask()
{
    const Bytes bytes = m_task.encoded();
    constexpr std::size_t partSize = packetLimit / 2;
    std::span<const std::byte> rest(bytes);
    for (; rest.size() > partSize; rest = rest.subspan(partSize))
        send(Request::taskPart, rest.first(partSize), -1);
    send(Request::task, rest, -1);
}

void RemoteTask::send(Request request, std::span<const std::byte> content, int descriptor)
{
    FieldWriter fields;
    fields.put(static_cast<std::uint32_t>(request));
    Bytes bytes = fields.bytes();
    bytes.insert(bytes.end(), content.begin(), content.end());
    for (;;) {
        switch (m_worker->channel().send(bytes, descriptor, false)) {
        case Channel::Sent::whole:
            return;
        case Channel::Sent::never:
            giveUp("it no longer listens");
        case Channel::Sent::notNow:
            waitFor(POLLOUT);
        }
    }
}

void RemoteTask::waitFor(short events)
{
    std::array<pollfd, 2> sources{pollfd{m_worker->channel().descriptor(), events, 0},
                                  pollfd{m_stopped ? m_stopped.get() : -1, POLLIN, 0}};
    poll(sources.data(), sources.size(), lookInterval);
    if (m_control.stop.stop_requested())
        throw JobCancelled();
    if (sources[0].revents == 0)
        watch();
}

void RemoteTask::watch()
{
    const Heartbeat::Shared& heartbeat = m_worker->heartbeat();
    const double seconds = m_worker->processorSeconds();
    const std::int64_t now = milliseconds();
    if (seconds - m_secondsAtWaking > hardlyAnything) {
        m_secondsAtWaking = seconds;
        m_awakeSince = now;
    }
    const std::uint32_t sign = heartbeat.beats.load(std::memory_order_relaxed) + m_messages;
    if (sign != m_lastSign) {
        m_lastSign = sign;
        m_secondsAtSign = seconds;
        m_awakeSince = now;
    }
    const int atOnce = std::clamp(m_pageCount, 1, workerCount());
    const double longer = std::min(heartbeat.patience.load(std::memory_order_relaxed), longestStep)
        + secondsPerMegabyte * static_cast<double>(m_largestInput) / (1 << 20);
    if (seconds - m_secondsAtSign > patience * atOnce + longer)
        giveUp("it made no progress");
    if (now - m_awakeSince > longestSleep)
        giveUp("it did nothing for a minute");
    if (m_worker->isStopped())
        giveUp("it was stopped");
}

ReportPacket RemoteTask::receive()
{
    for (;;) {
        pollfd source{m_worker->channel().descriptor(), POLLIN, 0};
        if (poll(&source, 1, 0) <= 0) {
            waitFor(POLLIN);
            continue;
        }
        const auto received = m_worker->channel().receive();
        if (!received)
            giveUp("it broke off");
        ++m_messages;
        try {
            return ReportPacket::decoded(received->bytes);
        } catch (const ProtocolError& error) {
            giveUp(error.what());
        }
    }
}

RemoteTask::Event RemoteTask::next()
{
    for (;;) {
        const ReportPacket packet = receive();
        const int number = static_cast<int>(std::min<std::uint32_t>(packet.number, mostPages));
        switch (packet.kind) {
        case Report::walls:
            WorkerPool::shared().logWalls(packet.number);
            break;
        case Report::refusedCall:
            WorkerPool::shared().log("A worker was refused the system call " + nameOfCall(packet.number) + ".");
            break;
        case Report::wantsInput:
            openInput(packet.number);
            break;
        case Report::progress:
            progress(packet);
            break;
        case Report::warning:
            if (++m_warnings > mostWarnings)
                giveUp("it warned too often");
            if (m_control.warning)
                m_control.warning(packet.sentence);
            break;
        case Report::failed:
            fail(packet.failure);
        case Report::pageCount:
            m_pageCount = number;
            return {Event::Kind::pageCount, number};
        case Report::wantsOutput:
            return {Event::Kind::outputWanted, number};
        case Report::finishedOutput:
            return {Event::Kind::outputFinished, number};
        case Report::done:
            m_isDone = true;
            return {Event::Kind::done, 0};
        }
    }
}

void RemoteTask::await(Event::Kind kind, int number)
{
    const Event event = next();
    if (event.kind != kind || event.number != number)
        giveUp("it did something else than its task");
}

void RemoteTask::openInput(std::uint32_t number)
{
    if (number >= m_inputs.size())
        giveUp("it asked for an input that is none of its task");
    m_lastInput = number;
    const UniqueDescriptor input(m_openInput ? m_openInput(number) : openRegularFile(m_inputs[number]));
    struct stat status{};
    if (input && fstat(input.get(), &status) == 0)
        m_largestInput = std::max<std::int64_t>(m_largestInput, status.st_size);
    if (input)
        send(Request::granted, {}, input.get());
    else
        send(Request::refused, {}, -1);
}

void RemoteTask::progress(const ReportPacket& packet)
{
    if (packet.number > packet.total || packet.total > mostPages)
        giveUp("it told of impossible progress");
    m_finishedInputs = packet.number;
    if (m_control.progress)
        m_control.progress(static_cast<int>(packet.number), static_cast<int>(packet.total));
}

void RemoteTask::grant(int descriptor)
{
    send(Request::granted, {}, descriptor);
}

void RemoteTask::refuse()
{
    send(Request::refused, {}, -1);
}

void RemoteTask::finish() noexcept
{
    if (m_group == WorkerPool::nobody)
        return; // the worker goes anyway
    try {
        await(Event::Kind::done);
    } catch (const std::exception&) {
        // The worker goes; what it had finished stays.
    }
}

void RemoteTask::fail(const Failure& failure)
{
    const FileFormat format = FileFormat::allCases().at(failure.number % FileFormat::count);
    m_isDone = true; // the worker is ready for the next task
    switch (failure.which) {
    case Failure::Case::unreadable:
        if (failure.number < m_inputs.size())
            throw EngineError::unreadable(m_inputs[failure.number]);
        break;
    case Failure::Case::unsupported:
        throw EngineError::unsupported(format);
    case Failure::Case::unsupportedConversion:
        throw EngineError::unsupportedConversion(failure.source, format);
    case Failure::Case::writeFailed:
        m_failedOutput = static_cast<int>(std::min<std::uint32_t>(failure.number, mostPages));
        throw StorageError();
    case Failure::Case::pageOutOfRange:
        throw EngineError::pageOutOfRange(failure.index);
    case Failure::Case::noPages:
        throw EngineError::noPages();
    case Failure::Case::noInputs:
        throw EngineError::noInputs();
    }
    m_isDone = false;
    giveUp("it failed over an input that is none of its task");
}

std::filesystem::path RemoteTask::blamedInput() const
{
    if (m_inputs.empty())
        return {};
    const std::size_t number = m_task.kind == Task::Kind::imagePDF ? m_finishedInputs : m_lastInput;
    return m_inputs[std::min(number, m_inputs.size() - 1)];
}

void RemoteTask::giveUp(std::string_view why)
{
    const std::filesystem::path blamed = blamedInput();
    if (m_control.stop.stop_requested())
        throw JobCancelled();
    const std::string end = m_worker ? m_worker->end() : std::string("none");
    WorkerPool::shared().log("A worker was given up over “" + nameOf(blamed) + "”: " + std::string(why) + " (" + end
                             + ").");
    throw EngineError::unreadable(blamed);
}

} // namespace Pelgra
