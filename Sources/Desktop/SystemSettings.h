#pragma once

/// The desktop's own settings.
namespace Pelgra::SystemSettings {

/// Opens the page of the programs that start with the session, as far as the desktop has one; else its settings.
void openStartupPrograms();

} // namespace Pelgra::SystemSettings
