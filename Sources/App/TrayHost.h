#pragma once

#include <QDBusServiceWatcher>
#include <QObject>

namespace Pelgra {

class Platform;

/// Tells when there is a tray to put an icon into. Qt decides once per process which kind of tray it uses, so an icon
/// must not be made, nor Qt even be asked, before one is there.
class TrayHost : public QObject {
    Q_OBJECT

public:
    /// The platform outlives the host, which takes its onTrayChanged callback.
    explicit TrayHost(Platform& platform, QObject* parent = nullptr);
    ~TrayHost() override;

    /// Whether there is one at the moment. Asks the session bus and waits for the answer.
    bool isThere() const;

Q_SIGNALS:
    /// There is a tray now. Comes at most once, never before the event loop runs.
    void available();

private:
    void askTheBus();
    void tell();

    Platform& m_platform;
    QDBusServiceWatcher m_watcher;
    bool m_isTold = false;
};

} // namespace Pelgra
