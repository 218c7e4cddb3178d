#pragma once

#include "files/UniqueDescriptor.h"
#include "isolation/Messages.h"
#include "isolation/Task.h"
#include "isolation/WorkerPool.h"
#include "PelgraCore/EngineError.h"
#include "PelgraCore/JobControl.h"

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <stop_token>
#include <string_view>
#include <vector>

namespace Pelgra {

/// A task while a worker does it, seen from the process that asked. The worker is taken for an opponent: whatever it
/// says is checked against the task, it is ended when it breaks off, takes too long or is no longer wanted, and what it
/// was reading then counts as unreadable. One thread at a time, the one on which the functions of the JobControl are
/// called.
class RemoteTask {
public:
    /// What happens besides what is dealt with here (inputs, progress, warnings).
    struct Event {
        enum class Kind { pageCount, outputWanted, outputFinished, done };
        Kind kind = Kind::done;
        int number = 0; ///< of the output, or how many pages there are
    };

    /// Opens an input for reading once more; -1 where that cannot be.
    using OpenInput = std::function<int(std::size_t input)>;

    /// Hands the task to a worker of the group. The names of its inputs are taken from the paths. Throws
    /// EngineError::unreadable where there is none, and JobCancelled.
    RemoteTask(Task task, std::span<const std::filesystem::path> inputs, const JobControl& control, WorkerGroup group,
               OpenInput openInput = {});
    RemoteTask(const RemoteTask&) = delete;
    RemoteTask& operator=(const RemoteTask&) = delete;
    /// Ends the worker unless done() was reached.
    ~RemoteTask();

    /// Waits for what comes next. Throws what the task throws; StorageError where the worker could not write its output
    /// (failedOutput() tells which), so that whoever saves it names it.
    Event next();

    /// Waits for an event that must be that one.
    void await(Event::Kind kind, int number = 0);

    /// The answers to outputWanted and outputFinished, or a refusal of either.
    void grant(int descriptor = -1);
    void refuse();

    /// Waits until the worker is ready for the next of its group, where it has one. Nothing that is already finished
    /// can fail any more.
    void finish() noexcept;

    /// The output whose writing failed, after StorageError.
    int failedOutput() const { return m_failedOutput; }

private:
    void sendTask();
    void send(Request request, std::span<const std::byte> content, int descriptor);
    ReportPacket receive();
    /// Waits for the socket a little; throws JobCancelled after a stop, and what watch() throws.
    void waitFor(short events);
    void watch();
    void openInput(std::uint32_t number);
    void progress(const ReportPacket& packet);
    [[noreturn]] void fail(const Failure& failure);
    /// Ends the worker and throws that its input cannot be read.
    [[noreturn]] void giveUp(std::string_view why);
    std::filesystem::path blamedInput() const;

    const Task m_task;
    const std::vector<std::filesystem::path> m_inputs;
    const JobControl& m_control;
    const WorkerGroup m_group;
    const OpenInput m_openInput;
    std::unique_ptr<WorkerProcess> m_worker;
    bool m_isDone = false;
    UniqueDescriptor m_stopped; ///< readable after a requested stop
    std::optional<std::stop_callback<std::function<void()>>> m_onStop;
    std::size_t m_lastInput = 0;
    std::size_t m_finishedInputs = 0; ///< where they are finished one by one
    std::int64_t m_largestInput = 0; ///< bytes
    int m_pageCount = 0;
    int m_warnings = 0;
    int m_failedOutput = 0;

    std::uint32_t m_messages = 0;
    std::uint32_t m_lastSign = 0;
    double m_secondsAtSign = 0; ///< of the worker's processor time
    double m_secondsAtWaking = 0;
    std::int64_t m_awakeSince = 0; ///< when it was last seen to do something, in milliseconds
};

} // namespace Pelgra
