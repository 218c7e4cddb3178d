#pragma once

#include <QObject>
#include <QTimer>

#include <functional>

namespace Pelgra {

/// KDE opens its launcher when Super alone goes down and up again, in the middle of a drag too. This holds the global
/// shortcuts of KDE back from the one to the other. Main thread.
class ShortcutPause final : public QObject {
    Q_OBJECT

public:
    /// Tells whether the key is still down.
    explicit ShortcutPause(std::function<bool()> isKeyHeld);
    ~ShortcutPause() override;

    /// Until the key is up, for some seconds at most.
    void begin();

    /// At once; nothing happens where nothing is held back.
    void end();

private:
    std::function<bool()> m_isKeyHeld;
    QTimer m_look;
    QTimer m_limit;
};

} // namespace Pelgra
