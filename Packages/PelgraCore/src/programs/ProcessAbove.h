#pragma once

#include "files/FileBroker.h"
#include "isolation/Channel.h"
#include "isolation/Messages.h"

#include <mutex>
#include <optional>
#include <vector>

namespace Pelgra {

/// The process that started this worker. Where it is gone, or says what it should not, the worker ends at once. Safe
/// from several threads.
class ProcessAbove final : public FileBroker {
public:
    explicit ProcessAbove(Channel channel);

    /// Waits for a task, on the thread that does it, while no other runs.
    Task awaitTask();

    void report(const ReportPacket& packet) const;

    /// Tells of a refused system call; may be called from a signal handler.
    void reportRefusedCall(std::uint32_t number) const noexcept;

    /// Ends this process when the one above is gone. For a thread that does nothing else.
    [[noreturn]] void watch() const;

    int openInput(const std::filesystem::path& input) override;
    FilePlaces placesOf(const std::filesystem::path& input) override;
    int openOutput(int number) override;
    void finishOutput(int number) override;
    void beginFolder(int files) override;

private:
    /// The answer to a wish; none where it was refused.
    std::optional<UniqueDescriptor> ask(Report wish, std::uint32_t number);

    Channel m_channel;
    std::vector<FilePlaces> m_places; ///< of the inputs of the task, where it says them
    std::mutex m_asking; ///< answers come in the order of the wishes
};

} // namespace Pelgra
