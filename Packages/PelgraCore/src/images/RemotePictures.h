#pragma once

#include "isolation/RemoteTask.h"

#include <optional>

namespace Pelgra {

/// A task of a worker whose output is a picture of at most that many pixels. Throws EngineError where there is none.
RasterImage pictureFromWorker(Task task, const std::filesystem::path& input, std::size_t mostPixels, WorkerGroup group,
                              RemoteTask::OpenInput openInput = {});

} // namespace Pelgra
