#pragma once

#include "Jobs/JobOutcome.h"

#include <QString>

#include <cstddef>
#include <optional>
#include <variant>

namespace Pelgra {

/// A job is under way. The only state that is not final.
struct HUDWorking {
    QString text;
    bool operator==(const HUDWorking&) const = default;
};

struct HUDDone {
    QString text;
    std::optional<QString> secondText;
    bool operator==(const HUDDone&) const = default;
};

struct HUDFailed {
    QString title;
    QString message;
    bool operator==(const HUDFailed&) const = default;
};

/// What the heads-up panel shows.
using HUDState = std::variant<HUDWorking, HUDDone, HUDFailed>;

/// The texts of jobs.
namespace HUDCopy {

/// The single-file text for one file, else the count: "3 files".
QString batchName(std::size_t count, const QString& single);

/// The name of a job that is done: its one result, or the name of the job.
QString shownName(const JobDone& done, const QString& jobName);

QString working(const QString& jobName); ///< "Making photo.png…"
QString done(const QString& displayName); ///< "photo.png — just like that."
QString failed(const QString& jobName); ///< "Couldn't make photo.png"

} // namespace HUDCopy

/// The final state for how a job ended; none for one that was cancelled.
std::optional<HUDState> finalState(const JobOutcome& outcome, const QString& jobName);

} // namespace Pelgra
