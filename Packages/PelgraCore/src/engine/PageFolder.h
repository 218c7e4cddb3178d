#pragma once

#include "files/ByteSink.h"
#include "PelgraCore/JobControl.h"
#include "PelgraCore/Models.h"

#include <filesystem>
#include <functional>
#include <string_view>

namespace Pelgra {

/// Has a file written for each page of a document, on that many threads, into a new folder "… Pages" beside it. The
/// first failure in the order of the pages is thrown: EngineError and JobCancelled as they are, anything else as
/// EngineError::writeFailed. Then nothing is left.
JobResult writePageFolder(const std::filesystem::path& document, std::string_view pathExtension, int pageCount,
                          int workers, const JobControl& control,
                          const std::function<void(int pageIndex, ByteSink&)>& writePage);

} // namespace Pelgra
