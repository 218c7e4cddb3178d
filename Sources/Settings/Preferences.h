#pragma once

#include "Settings/ModifierKey.h"
#include "Support/PreferencesStore.h"

#include <QObject>

#include <memory>

namespace Pelgra {

/// The user's settings. Every change is announced and stored at once; loading stores nothing. Main thread.
class Preferences : public QObject {
    Q_OBJECT

public:
    explicit Preferences(std::unique_ptr<PreferencesStore> store, QObject* parent = nullptr);

    /// The settings of this process: the user's file, overridden by "-key value" arguments. Made on first use, after
    /// the application object.
    static Preferences& shared();

    ModifierKey convertKey() const { return m_convertKey; }
    void setConvertKey(ModifierKey key);

    ModifierKey toolsKey() const { return m_toolsKey; }
    void setToolsKey(ModifierKey key);

    WheelKeys wheelKeys() const { return {m_convertKey, m_toolsKey}; }

    /// 0.5 to 1.0 after loading; setting does not clamp.
    double jpegQuality() const { return m_jpegQuality; }
    void setJPEGQuality(double quality);

    bool checkForUpdatesAutomatically() const { return m_checkForUpdatesAutomatically; }
    void setCheckForUpdatesAutomatically(bool checks);

    /// Whether the user has agreed to shortcuts of the desktop's, where keys are not seen.
    bool usesShortcuts() const { return m_usesShortcuts; }
    void setUsesShortcuts(bool uses);

    /// Whether targets that open a wheel appear while files are dragged, for those who have no key at hand.
    bool showsTargets() const { return m_showsTargets; }
    void setShowsTargets(bool shows);

    /// What the settings were loaded from, for the keys that only debugging uses.
    const PreferencesStore& store() const { return *m_store; }

    /// The line at the top of the menu.
    QString menuHint() const;

    /// The warning to show beside the keys while both are the same, else empty.
    QString sameKeyWarning() const;

Q_SIGNALS:
    void convertKeyChanged();
    void toolsKeyChanged();
    void jpegQualityChanged();
    void checkForUpdatesAutomaticallyChanged();
    void showsTargetsChanged();

    /// Whether the latest change is kept beyond the end of the process.
    void stored(bool isKept);

private:
    void store(const QString& key, const QVariant& value);

    std::unique_ptr<PreferencesStore> m_store;
    ModifierKey m_convertKey;
    ModifierKey m_toolsKey;
    double m_jpegQuality;
    bool m_checkForUpdatesAutomatically;
    bool m_usesShortcuts;
    bool m_showsTargets;
};

} // namespace Pelgra
