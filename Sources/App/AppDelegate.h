#pragma once

#include "App/LaunchArguments.h"
#include "Drag/DragMonitor.h"
#include "Jobs/JobRunner.h"
#include "Wheel/WheelController.h"

#include <QAction>
#include <QDeadlineTimer>
#include <QMenu>
#include <QObject>
#include <QPoint>
#include <QStringList>
#include <QSystemTrayIcon>
#include <QTimer>

#include <filesystem>
#include <memory>
#include <vector>

class QMessageBox;

namespace Pelgra {

class Platform;
class Preferences;
class TrayHost;
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

    /// Instead of that: shows one wheel for these files at the pointer, and ends the application when it was left and
    /// its work is done.
    void showWheelAlone(WheelKind kind, const Files& files);

    /// Another start of the program asked for this: a wheel for files, or without any the settings.
    void open(WheelKind kind, const Files& files);

    /// The user wants to quit: at once when nothing runs, else after asking what to do with the running jobs.
    void requestQuit();

    /// The session or the system ends the process: jobs are stopped, nothing unfinished stays behind.
    void terminate();

private Q_SLOTS:
    void openSettings();
    void checkForUpdates();
    void showDebugWheel();

private:
    void installUpdater();
    void wireWheel();
    void wireMonitor();
    void installStatusItem();
    void updateMenu();
    void handle(const DragEvent& event);
    void cancelDrag();
    void showLaunchArgumentWheelIfRequested();
    void highlightLater(int petal);
    bool eventFilter(QObject* watched, QEvent* event) override;
    void jobsChanged();
    bool isWorking() const;
    void quitOnceStopped();
    JobRunner& jobs();

    Preferences& m_preferences;
    Platform& m_platform;
    DragMonitor m_dragMonitor;
    WheelController m_wheel;
    std::unique_ptr<JobRunner> m_jobs; ///< made with the first petal
    std::unique_ptr<UpdaterManaging> m_updater;
    std::unique_ptr<TrayHost> m_trayHost;
    std::unique_ptr<QMenu> m_menu;
    QAction* m_hintItem = nullptr;
    QAction* m_debugItem = nullptr;
    std::unique_ptr<QSystemTrayIcon> m_statusItem;
    /// Looks whether a process of one wheel, or one that is to quit or end, has nothing left to do.
    QTimer m_afterwards;
    QDeadlineTimer m_farewell; ///< for jobs that were told to stop
    bool m_isAlone = false;
    bool m_quitsWhenDone = false;
};

} // namespace Pelgra
