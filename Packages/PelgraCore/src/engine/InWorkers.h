#pragma once

#include "files/PreparedOutput.h"
#include "isolation/Task.h"
#include "isolation/WorkerPool.h"
#include "PelgraCore/JobControl.h"
#include "PelgraCore/Models.h"

#include <filesystem>
#include <span>
#include <string_view>

/// The operations as they look from above where workers do them: outputs are made, named, flushed and published here,
/// and their content comes from elsewhere. Results and errors are those of the functions that do it here.
namespace Pelgra {

/// A task with one output, up to the point where it is named.
PreparedOutput prepareInWorker(Task task, std::span<const std::filesystem::path> inputs, std::string_view suffix,
                               std::string_view pathExtension, const JobControl& control,
                               WorkerGroup group = WorkerPool::nobody);

/// A task over the pages of one document: a folder of files for them, or one file where the worker asks for one alone.
JobResult pagesInWorker(Task task, const std::filesystem::path& document, std::string_view pathExtension,
                        const JobControl& control);

} // namespace Pelgra
