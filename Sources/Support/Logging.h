#pragma once

#include <QLoggingCategory>

/// One logging category for each area of the application; information is on by default.
namespace Pelgra {

Q_DECLARE_LOGGING_CATEGORY(applicationLog)
Q_DECLARE_LOGGING_CATEGORY(dragLog)
Q_DECLARE_LOGGING_CATEGORY(wheelLog)
Q_DECLARE_LOGGING_CATEGORY(jobsLog)
Q_DECLARE_LOGGING_CATEGORY(settingsLog)

} // namespace Pelgra
