#pragma once

#include "isolation/Messages.h"
#include "isolation/Task.h"
#include "PelgraCore/Thumbnails.h"

#include <functional>
#include <memory>

namespace Pelgra {

/// Does the tasks of a worker, one after another. What it says, it says through `report`; files come from the
/// FileBroker.
class WorkerTasks {
public:
    explicit WorkerTasks(std::function<void(const ReportPacket&)> report);

    /// The last report is `done` or `failed`.
    void run(const Task& task);

private:
    void attempt(const Task& task);
    void makeThumbnail(const Task& task, const std::filesystem::path& input);

    std::function<void(const ReportPacket&)> m_report;
    std::unique_ptr<Thumbnails::Pages> m_openDocument;
};

} // namespace Pelgra
