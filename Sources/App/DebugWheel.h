#pragma once

#include <QFileDialog>
#include <QObject>
#include <QPointer>

#include <filesystem>
#include <vector>

namespace Pelgra {

class PreferencesStore;
class WheelController;

/// Wheels without a drag, for looking at them: of files chosen in a dialog, or named by the arguments of the start.
/// Main thread.
class DebugWheel : public QObject {
    Q_OBJECT

public:
    /// The wheel outlives this.
    explicit DebugWheel(WheelController& wheel, QObject* parent = nullptr);

    /// Lets the user choose files and shows the conversion wheel for them at the pointer.
    void showDebugWheel();

    /// The wheel that the keys PelgraDebugWheel (paths joined by colons), PelgraDebugKind and PelgraDebugHighlight ask
    /// for, in the middle of the screen; without the first nothing.
    void showLaunchArgumentWheelIfRequested(const PreferencesStore& store);

private:
    void showForChosen();
    void highlightLater(int petal);

    WheelController& m_wheel;
    QPointer<QFileDialog> m_panel;
};

} // namespace Pelgra
