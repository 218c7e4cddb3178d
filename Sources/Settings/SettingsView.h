#pragma once

#include "Settings/ModifierKey.h"

#include <QFileSystemWatcher>
#include <QString>
#include <QWidget>

class QCheckBox;
class QComboBox;
class QLabel;
class QPushButton;
class QSlider;

namespace Pelgra {

class Preferences;

/// The form of the settings window. Shows the preferences live and changes them at once; there is nothing to confirm.
class SettingsView : public QWidget {
    Q_OBJECT

public:
    /// The preferences outlive the view.
    explicit SettingsView(Preferences* preferences, QWidget* parent = nullptr);

private:
    QWidget* makeKeys();
    QWidget* makeQuality();
    QWidget* makeSystem();
    QComboBox* makePicker(const QString& name, void (Preferences::*set)(ModifierKey));
    void followPreferences();
    void followLoginItem();

    void showKeys();
    void showDesktop();
    void takeStep();
    void showQuality();
    void showLoginItem();
    void setLaunchAtLogin(bool on);

    Preferences* m_preferences;
    QString m_loginItemError;
    QFileSystemWatcher m_autostart;
    QComboBox* m_convertKey = nullptr;
    QComboBox* m_toolsKey = nullptr;
    QLabel* m_sameKey = nullptr;
    QCheckBox* m_targets = nullptr;
    QLabel* m_targetsNote = nullptr;
    QLabel* m_thisDesktop = nullptr;
    QLabel* m_keyBindings = nullptr; ///< hidden where none are needed
    QPushButton* m_step = nullptr; ///< for what the user can do about this desktop
    QPushButton* m_otherStep = nullptr; ///< does as well
    QSlider* m_quality = nullptr;
    QLabel* m_qualityText = nullptr;
    QCheckBox* m_launchAtLogin = nullptr;
    QPushButton* m_approve = nullptr;
    QLabel* m_loginError = nullptr;
    QCheckBox* m_updates = nullptr;
    QLabel* m_notStored = nullptr;
};

} // namespace Pelgra
