#pragma once

namespace Pelgra::JournalLog {

/// From now on messages go to the system's journal, with their category and priority. They stay on standard error where
/// there is no journal, where it is a terminal, where QT_LOGGING_RULES is set, and where `verbose` asks for it.
void install(bool verbose);

} // namespace Pelgra::JournalLog
