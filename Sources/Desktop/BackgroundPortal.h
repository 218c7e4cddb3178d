#pragma once

#include <QString>

#include <cstdint>
#include <functional>

class QObject;

/// Starting with the session from inside a sandbox, which cannot write the session's autostart entries itself: the
/// Background portal of freedesktop.org (org.freedesktop.portal.Background, version 1). Main thread.
namespace Pelgra::BackgroundPortal {

/// Whether this process runs in a sandbox that has portals.
bool isNeeded();

enum class Answer : std::uint8_t {
    done, ///< as asked
    refused, ///< the user or the system’s settings do not allow it
    failed, ///< there is no portal, or it could not do it
};

/// Asks for the program to be started with the session, or no longer to be. The portal may ask the user, so the answer
/// can take as long as they do. It comes once, with a reason where it failed, unless the context has gone before.
void requestAutostart(bool enabled, QObject* context, std::function<void(Answer answer, const QString& reason)> done);

} // namespace Pelgra::BackgroundPortal
