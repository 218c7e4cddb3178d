#pragma once

#include <QObject>

#include <cstdint>

namespace Pelgra {

class Preferences;

/// What the rest of the application knows about the update checker. Main thread.
class UpdaterManaging : public QObject {
    Q_OBJECT

public:
    using QObject::QObject;

    /// Whether checks run on a schedule.
    virtual bool automaticallyChecksForUpdates() const = 0;
    virtual void setAutomaticallyChecksForUpdates(bool checks) = 0;

    /// Whether a check that the user asks for may start now.
    virtual bool canCheckForUpdates() const = 0;

    /// Starts a check on the user's behalf.
    virtual void checkForUpdates() = 0;

Q_SIGNALS:
    void changed();
};

namespace Updater {

/// The installed updater, or null. Not owned.
UpdaterManaging* current();
void setCurrent(UpdaterManaging* updater);

/// Has the installed updater, whichever it is by then, told about every change of the setting.
void follow(const Preferences& preferences);

} // namespace Updater

/// An updater that contacts nobody and counts what it was asked.
class FakeUpdater final : public UpdaterManaging {
    Q_OBJECT

public:
    using UpdaterManaging::UpdaterManaging;

    bool automaticallyChecksForUpdates() const override { return m_automaticallyChecksForUpdates; }
    void setAutomaticallyChecksForUpdates(bool checks) override;
    bool canCheckForUpdates() const override { return m_canCheckForUpdates; }
    void setCanCheckForUpdates(bool can);
    void checkForUpdates() override { ++m_checkForUpdatesCallCount; }
    std::int64_t checkForUpdatesCallCount() const { return m_checkForUpdatesCallCount; }

private:
    bool m_automaticallyChecksForUpdates = false;
    bool m_canCheckForUpdates = false;
    std::int64_t m_checkForUpdatesCallCount = 0;
};

} // namespace Pelgra
