#pragma once

#include "App/TrayHost.h"

#include <QMenu>
#include <QObject>
#include <QSystemTrayIcon>

#include <memory>

class QAction;

namespace Pelgra {

class Platform;
class Preferences;

/// The icon in the tray and its menu, there as soon as there is a tray. What its lines do is up to the owner. Main
/// thread.
class StatusMenu : public QObject {
    Q_OBJECT

public:
    /// Preferences and platform outlive the menu.
    StatusMenu(const Preferences& preferences, Platform& platform, QObject* parent = nullptr);
    ~StatusMenu() override;

    /// Whether a tray shows the icon at the moment. Asks the session bus and waits for the answer.
    bool isShown() const { return m_trayHost.isThere(); }

Q_SIGNALS:
    void settingsChosen();
    void updateCheckChosen();
    void debugWheelChosen();
    void quitChosen();

private:
    void installStatusItem();
    void updateMenu();

    const Preferences& m_preferences;
    Platform& m_platform;
    TrayHost m_trayHost;
    std::unique_ptr<QMenu> m_menu;
    QAction* m_hintItem = nullptr;
    QAction* m_debugItem = nullptr;
    std::unique_ptr<QSystemTrayIcon> m_statusItem;
};

} // namespace Pelgra
