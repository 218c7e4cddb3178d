#include "App/StatusMenu.h"

#include "App/MenuBarIcon.h"
#include "Platform/Platform.h"
#include "Settings/Preferences.h"
#include "Settings/ThisDesktop.h"

#include <QAction>

namespace Pelgra {

StatusMenu::StatusMenu(const Preferences& preferences, Platform& platform, QObject* parent)
    : QObject(parent)
    , m_preferences(preferences)
    , m_platform(platform)
    , m_trayHost(platform)
{
    connect(&m_trayHost, &TrayHost::available, this, &StatusMenu::installStatusItem);
}

StatusMenu::~StatusMenu() = default;

void StatusMenu::installStatusItem()
{
    m_menu = std::make_unique<QMenu>();
    m_hintItem = m_menu->addAction(QString());
    m_hintItem->setEnabled(false);
    m_menu->addSeparator();
    QAction* const settings = m_menu->addAction(QStringLiteral("Settings…"), this, &StatusMenu::settingsChosen);
    settings->setShortcut(Qt::ControlModifier | Qt::Key_Comma);
    m_menu->addAction(QStringLiteral("Check for Updates…"), this, &StatusMenu::updateCheckChosen);
    m_debugItem =
        m_menu->addAction(QStringLiteral("Debug: Show wheel for sample file…"), this, &StatusMenu::debugWheelChosen);
    m_menu->addSeparator();
    QAction* const quit = m_menu->addAction(QStringLiteral("Quit Pelgra"), this, &StatusMenu::quitChosen);
    quit->setShortcut(Qt::ControlModifier | Qt::Key_Q);
    connect(m_menu.get(), &QMenu::aboutToShow, this, &StatusMenu::updateMenu);
    connect(&m_preferences, &Preferences::convertKeyChanged, this, &StatusMenu::updateMenu);
    connect(&m_preferences, &Preferences::toolsKeyChanged, this, &StatusMenu::updateMenu);
    connect(&m_preferences, &Preferences::showsTargetsChanged, this, &StatusMenu::updateMenu);
    connect(&ThisDesktop::changes(), &ThisDesktop::Changes::happened, this, &StatusMenu::updateMenu);

    m_statusItem = std::make_unique<QSystemTrayIcon>();
    MenuBarIcon::showIn(*m_statusItem);
    m_statusItem->setToolTip(QStringLiteral("Pelgra"));
    m_statusItem->setContextMenu(m_menu.get());
    connect(m_statusItem.get(), &QSystemTrayIcon::activated, this, [this](QSystemTrayIcon::ActivationReason reason) {
        // A plain click shows the menu as well, where the tray leaves that to the program.
        if (reason == QSystemTrayIcon::Trigger)
            m_platform.popUp(*m_menu);
    });
    updateMenu();
    m_statusItem->show();
}

void StatusMenu::updateMenu()
{
    const DesktopAbilities abilities = m_platform.abilities();
    m_hintItem->setText(abilities.hasGesture() ? m_preferences.menuHint()
                                               : ThisDesktop::sentenceFor(abilities, m_preferences.wheelKeys(),
                                                                          m_preferences.showsTargets()));
    m_platform.dragSource().refresh();
    const ModifierFlags option = flagOf(ModifierKey::option);
    m_debugItem->setVisible((m_platform.dragSource().modifierFlagsNow() & option) == option);
}

} // namespace Pelgra
