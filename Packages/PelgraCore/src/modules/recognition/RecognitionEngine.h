#pragma once

#include <memory>
#include <string>
#include <vector>

#include <tesseract/baseapi.h>

namespace Pelgra {

/// One initialised recogniser of the library.
using EngineHandle = std::unique_ptr<tesseract::TessBaseAPI>;

/// Null where the system has no usable data for the language. "osd" detects orientation and script only.
EngineHandle openEngine(const std::string& language);

/// The names of all models in the library's data folder; empty without such a folder.
std::vector<std::string> installedModels();

/// Keeps the recognition of the calling thread on this thread. The library would start a team of threads for every
/// small matrix, which made a page eight times slower; pages are recognised side by side instead. Neither
/// omp_set_num_threads() nor the environment changed at run time has this effect.
void keepToOneThread();

} // namespace Pelgra
