#pragma once

#include "Platform/DragSource.h"
#include "Platform/Gnome/DragWatch.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusServiceWatcher>
#include <QObject>
#include <QVariantMap>

#include <functional>

namespace Pelgra {

/// Drags as the extension of GNOME Shell tells them, which sends its signals to the owner of Pelgra's name alone. Taken
/// from the shell only, as the session bus names the sender; never waits for it.
class ExtensionDragSource final : public QObject, public DragSource {
    Q_OBJECT

public:
    /// What the shell says of the extension.
    enum class State {
        unknown, ///< no answer yet
        absent, ///< not installed, or since the session began, and the shell looks once
        off, ///< installed
        on,
        broken, ///< for another version of the shell, or it failed
    };

    explicit ExtensionDragSource(const QDBusConnection& bus, QObject* parent = nullptr);

    void refresh() override { m_sample = m_watch.nextSample(); }
    std::int64_t changeCount() const override { return m_sample.changeCount; }
    ButtonState primaryButton() const override { return m_sample.isButtonDown ? ButtonState::down : ButtonState::up; }
    ModifierFlags modifierFlags() const override { return m_sample.flags; }
    std::vector<std::filesystem::path> fileURLs() override { return m_watch.files(); }
    std::optional<QPoint> pointer() const override;

    State state() const { return m_state; }

    /// As state(), for programs that live too short to be told: waits for the answer, at most half a second.
    State stateNow();

    /// Whether the extension talks to this process.
    bool isWatching() const { return m_watch.isWatching(); }

    /// Whether this process is the one that the extension would talk to.
    bool isListener() const;

    /// Switches the extension on; the shell keeps that for later sessions.
    void switchOn();

    /// state() or isWatching() changed.
    std::function<void()> onStateChanged;

private Q_SLOTS:
    void told(const QDBusMessage& signal);
    void stateTold(const QString& uuid, const QVariantMap& description);

private:
    void connectSignals();
    void askState();
    void setState(const QVariantMap& description);
    QDBusMessage question(const QString& method) const;

    QDBusConnection m_bus;
    QDBusServiceWatcher m_shell;
    DragWatch m_watch;
    DragWatch::Sample m_sample;
    State m_state = State::unknown;
};

} // namespace Pelgra
