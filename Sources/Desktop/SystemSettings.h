#pragma once

/// The desktop's own settings.
namespace Pelgra::SystemSettings {

/// Opens the page for the programs that start with the session where the desktop has one, else its settings.
void openStartupPrograms();

/// Opens KDE's page for what X11 programs may see of keys and pointer.
void openLegacyApplications();

} // namespace Pelgra::SystemSettings
