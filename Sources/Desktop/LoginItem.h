#pragma once

#include <QString>

#include <cstdint>
#include <functional>
#include <optional>

class QObject;

/// Starting Pelgra with the session: an autostart entry of the user (freedesktop.org Desktop Application Autostart
/// Specification). The entry's file is the only state, so changes from outside are seen. In a sandbox, which sees no
/// such file, the portal is asked instead, and its last answer is the state. Main thread.
namespace Pelgra::LoginItem {

enum class Status : std::uint8_t {
    absent, ///< no entry
    enabled, ///< an entry that the session will run
    switchedOff, ///< switched off outside Pelgra, in the desktop's own settings
    notFound, ///< an entry whose program no longer exists
};

/// The state as it is now.
Status status();

/// Called once with why it failed, if it did.
using Done = std::function<void(const std::optional<QString>& error)>;

/// Registers or unregisters. Disabling what is not there or not found does nothing. Done before it returns, except in a
/// sandbox, where the user may be asked first; an answer after the end of the context is dropped.
void setEnabled(bool enabled, QObject* context, Done done);

/// The file of the entry, in $XDG_CONFIG_HOME/autostart.
QString entryFile();

} // namespace Pelgra::LoginItem
