#pragma once

#include "Drag/DragMonitor.h"
#include "Wheel/WheelController.h"

#include <QAction>
#include <QMenu>
#include <QObject>
#include <QPoint>
#include <QSystemTrayIcon>

#include <filesystem>
#include <memory>
#include <vector>

namespace Pelgra {

class Platform;
class Preferences;
class TrayHost;

/// The root of the application: owns the long-lived parts, wires them together and routes the drag events. Main thread.
/// It has no signals and so no meta-object of its own.
class AppDelegate : public QObject {
public:
    /// Preferences and platform outlive the delegate.
    AppDelegate(Preferences& preferences, Platform& platform, QObject* parent = nullptr);
    ~AppDelegate() override;

    /// Starts everything. As a host of automated tests (the environment says so) nothing is started.
    void applicationDidFinishLaunching();

    /// Instead of that: shows one wheel for these files at the pointer, and ends the application when it was left and
    /// its work is done.
    void showWheelAlone(WheelKind kind, const std::vector<std::filesystem::path>& files);

private:
    using Files = std::vector<std::filesystem::path>;

    void wireWheel();
    void wireMonitor();
    void installStatusItem();
    void updateMenu();
    void handle(const DragEvent& event);
    void cancelDrag();
    void run(const WheelPetal& petal, const Files& files, QPoint point);
    bool eventFilter(QObject* watched, QEvent* event) override;
    void endIfAlone();

    Preferences& m_preferences;
    Platform& m_platform;
    DragMonitor m_dragMonitor;
    WheelController m_wheel;
    std::unique_ptr<TrayHost> m_trayHost;
    std::unique_ptr<QMenu> m_menu;
    QAction* m_hintItem = nullptr;
    std::unique_ptr<QSystemTrayIcon> m_statusItem;
    int m_runningJobs = 0;
    bool m_isAlone = false;
};

} // namespace Pelgra
