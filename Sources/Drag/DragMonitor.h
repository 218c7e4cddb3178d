#pragma once

#include "Drag/DragSessionMachine.h"
#include "Platform/DragSource.h"
#include "Settings/ModifierKey.h"

#include <QObject>
#include <QTimer>

#include <functional>

namespace Pelgra {

/// Samples the desktop 30 times a second, and once more whenever the source has news, and reports the drag events that
/// follow. Main thread; events are delivered inside the tick.
class DragMonitor : public QObject {
    Q_OBJECT

public:
    /// The source outlives the monitor, which takes its onNews callback.
    explicit DragMonitor(DragSource& source, QObject* parent = nullptr);
    ~DragMonitor() override;

    /// Begins sampling. Does nothing the second time.
    void start();

    /// The bindings, asked with every sample.
    std::function<WheelKeys()> keys;

    /// Its session may be read, and cancelled with cancel().
    DragSessionMachine machine;

Q_SIGNALS:
    /// Every event, in order.
    void happened(const Pelgra::DragEvent& event);

private:
    void tick();

    DragSource& m_source;
    QTimer m_timer;
};

} // namespace Pelgra
