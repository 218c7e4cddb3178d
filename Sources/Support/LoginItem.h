#pragma once

#include <QString>

#include <cstdint>
#include <optional>

/// Starting Pelgra with the session: an autostart entry of the user (freedesktop.org Desktop Application Autostart
/// Specification). The entry's file is the only state, so changes from outside are seen. Main thread.
namespace Pelgra::LoginItem {

enum class Status : std::uint8_t {
    notRegistered, ///< no entry
    enabled, ///< an entry that the session will run
    requiresApproval, ///< an entry that was switched off outside Pelgra, in the desktop's own settings
    notFound, ///< an entry whose program no longer exists
};

/// The state as it is on disk now.
Status status();

/// Writes or removes the entry. Disabling what is not there or not found does nothing. Returns why it failed, if it
/// did.
std::optional<QString> setEnabled(bool enabled);

/// The file of the entry, in $XDG_CONFIG_HOME/autostart.
QString entryFile();

} // namespace Pelgra::LoginItem
