#pragma once

#include <QString>
#include <QVariant>

#include <functional>

class QObject;

/// The desktop's own settings, as its portal passes them on (org.freedesktop.portal.Settings of freedesktop.org).
/// Without a session bus, and for a setting that the desktop does not know, nothing is reported.
namespace Pelgra::SettingsPortal {

/// The value, or an invalid one. Waits at most half a second, so it is for threads that have the time.
QVariant read(const QString& group, const QString& key);

/// Reports the value once it is known, and again with every change, as long as the context lives. Main thread.
void follow(const QString& group, const QString& key, QObject* context,
            std::function<void(const QVariant& value)> tell);

} // namespace Pelgra::SettingsPortal
