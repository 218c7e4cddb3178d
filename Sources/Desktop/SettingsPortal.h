#pragma once

#include <QString>
#include <QVariant>

#include <functional>

class QObject;

/// The desktop's own settings, as its portal hands them on (org.freedesktop.portal.Settings of freedesktop.org).
/// Without a session bus, and where no desktop knows a setting, nothing is told.
namespace Pelgra::SettingsPortal {

/// The value, or an invalid one. Waits for half a second at most, so it is for threads that have the time.
QVariant read(const QString& group, const QString& key);

/// Tells the value once it is known, and again with every change, as long as the context lives. Main thread.
void follow(const QString& group, const QString& key, QObject* context,
            std::function<void(const QVariant& value)> tell);

} // namespace Pelgra::SettingsPortal
