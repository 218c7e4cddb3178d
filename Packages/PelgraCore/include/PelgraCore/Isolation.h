#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

/// Where files are read. Unless told otherwise, in the process that calls: for tests, and for the worker itself. Once
/// workers are used, every operation of Engine and Thumbnails runs in a program of its own that has no network, can
/// open no file but libraries, fonts and language data, and ends alone; what it crashes on, never ends with or has no
/// memory for counts as unreadable. Stateless functions elsewhere (ImageLoader, PDFRender, TextExtraction) always run
/// where they are called, except for drawings. All may be called from any thread.
namespace Pelgra::Isolation {

/// From now on. Workers without work wait so many seconds for some; zero for ever, which suits a program that ends
/// soon.
void useWorkers(int idleSeconds);

/// Whether workers are used.
bool usesWorkers();

/// Starts workers, without waiting for them, until so many wait for work: something is about to be asked for.
void warmUp(int workers);

/// Called with what a log should know, a line at a time, from any thread: which walls stand, a refused system call, a
/// worker that ended early. Set before the first worker starts.
void setLog(std::function<void(std::string_view line)> log);

/// The state of each wall on this system, a line each, for a report of a fault. Starts a worker and waits for it.
std::vector<std::string> report();

} // namespace Pelgra::Isolation
