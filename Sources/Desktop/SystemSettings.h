#pragma once

/// The desktop's own settings.
namespace Pelgra::SystemSettings {

/// Opens the page for the programs that start with the session where the desktop has one, else its settings.
void openStartupPrograms();

} // namespace Pelgra::SystemSettings
