#pragma once

#include "App/DebugWheel.h"
#include "App/Quitting.h"
#include "App/TapSocket.h"
#include "Drag/DragMonitor.h"
#include "Jobs/JobRunner.h"
#include "Wheel/WheelController.h"
#include "Wheel/WheelTargets.h"

#include <QMessageBox>
#include <QObject>
#include <QPoint>
#include <QPointer>
#include <QTimer>

#include <filesystem>
#include <functional>
#include <memory>
#include <vector>

namespace Pelgra {

class Platform;
class Preferences;
class StatusMenu;
class UpdaterManaging;

/// The root of the application: owns the long-lived parts, wires them together and routes the drag events. Main thread.
class AppDelegate : public QObject {
    Q_OBJECT

public:
    using Files = std::vector<std::filesystem::path>;

    /// Preferences and platform outlive the delegate.
    AppDelegate(Preferences& preferences, Platform& platform, QObject* parent = nullptr);
    ~AppDelegate() override;

    /// Starts everything. As a host of automated tests (the environment says so) nothing is started.
    void applicationDidFinishLaunching();

    /// Instead: shows one wheel for these files at the pointer, and ends the application once it has been left and its
    /// work is done.
    void showWheelAlone(WheelKind kind, const Files& files);

    /// Another start of the program asked for this: a wheel for files, or without any the settings.
    void open(WheelKind kind, const Files& files);

    /// The session or the system ends the process.
    void terminate() { m_quitting.terminate(); }

private Q_SLOTS:
    void openSettings();
    void checkForUpdates();

private:
    void installUpdater();
    void wireWheel();
    void wireMonitor();
    void wireTargets();
    void listenToTaps();
    void installStatusMenu();
    void handle(const DragEvent& event);
    void cancelDrag();
    /// For the drag under way.
    void openWheel(WheelKind kind);
    void offerTargets();
    void offerTargetsAtEdge(const DragSign& sign);
    void dismissTargets();
    /// An interactive wheel.
    void showAtPointer(WheelKind kind, const Files& files);
    void showPostponed();
    JobRunner& jobs();

    Preferences& m_preferences;
    Platform& m_platform;
    DragMonitor m_dragMonitor;
    WheelController m_wheel;
    std::unique_ptr<WheelTargets> m_targets; ///< null unless wanted
    DebugWheel m_debugWheel;
    Quitting m_quitting;
    std::unique_ptr<TapSocket> m_taps;
    std::unique_ptr<JobRunner> m_jobs; ///< made with the first petal
    std::unique_ptr<UpdaterManaging> m_updater;
    std::unique_ptr<StatusMenu> m_statusMenu;
    QPointer<QMessageBox> m_updatesAlert;
    QTimer m_isDropAwaited; ///< a drag has only just ended
    std::function<void()> m_postponed; ///< what was asked for during a drag
};

} // namespace Pelgra
