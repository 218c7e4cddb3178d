#pragma once

#include "PelgraCore/Models.h"

#include <functional>
#include <stop_token>
#include <string_view>

namespace Pelgra {

/// How a caller watches and stops a long job. Every member may be left empty.
/// The functions are called on the thread that called the engine, never at the same time as each other.
struct JobControl {
    /// Units (files of a batch, pages of a document) done, of how many.
    std::function<void(int done, int total)> progress;

    /// A result of a batch is complete on disk; called in input order.
    std::function<void(const JobResult&)> published;

    /// Something the user should know even though the job succeeds, as a sentence.
    std::function<void(std::string_view sentence)> warning;

    /// Once a stop is requested the job throws JobCancelled soon and leaves nothing unfinished behind.
    std::stop_token stop;
};

} // namespace Pelgra
