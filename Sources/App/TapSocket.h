#pragma once

#include "Wheel/WheelKind.h"

#include <QObject>
#include <QSocketNotifier>

#include <memory>
#include <string>

namespace Pelgra {

/// Hears “pelgra tap”, by which a compositor's key binding stands for a key that it shows nobody: a datagram of one
/// word on a socket in the user's runtime folder, so that the sender needs neither a toolkit nor a bus. Main thread.
class TapSocket : public QObject {
    Q_OBJECT

public:
    /// Hears nothing without a runtime folder, or while another process hears it already.
    explicit TapSocket(QObject* parent = nullptr);
    ~TapSocket() override;

Q_SIGNALS:
    void tapped(Pelgra::WheelKind kind);

private:
    void read();

    std::string m_path;
    int m_descriptor = -1;
    std::unique_ptr<QSocketNotifier> m_notifier; ///< null while nothing is heard
};

} // namespace Pelgra
