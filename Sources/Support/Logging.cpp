#include "Support/Logging.h"

namespace Pelgra {

Q_LOGGING_CATEGORY(applicationLog, "pelgra.application", QtInfoMsg)
Q_LOGGING_CATEGORY(dragLog, "pelgra.drag", QtInfoMsg)
Q_LOGGING_CATEGORY(wheelLog, "pelgra.wheel", QtInfoMsg)
Q_LOGGING_CATEGORY(jobsLog, "pelgra.jobs", QtInfoMsg)
Q_LOGGING_CATEGORY(settingsLog, "pelgra.settings", QtInfoMsg)

} // namespace Pelgra
