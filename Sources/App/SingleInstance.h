#pragma once

#include "Wheel/WheelKind.h"

#include <QByteArrayList>
#include <QObject>

#include <filesystem>
#include <vector>

namespace Pelgra {

/// Keeps one process of Pelgra in a session, by a name on the session bus. A second start passes its request to the
/// first. Without a session bus every process is the first. Main thread.
class SingleInstance : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.pelgra.Pelgra")

public:
    using Files = std::vector<std::filesystem::path>;

    explicit SingleInstance(QObject* parent = nullptr);

    /// Whether another process is there already.
    bool isAnotherRunning() const;

    /// Becomes that process. False when another was faster.
    bool claim();

    /// Asks the other process for a wheel, or without files for the settings. False when it didn’t answer.
    bool forward(WheelKind kind, const Files& files) const;

Q_SIGNALS:
    /// Another start asked for a wheel, or without files for the settings.
    void openRequested(Pelgra::WheelKind kind, const std::vector<std::filesystem::path>& files);

public Q_SLOTS:
    /// Called over the bus: the kind is "convert" or "tools", files are absolute paths as bytes.
    Q_SCRIPTABLE void Open(const QString& kind, const QByteArrayList& files);
};

} // namespace Pelgra
