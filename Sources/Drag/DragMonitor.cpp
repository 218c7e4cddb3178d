#include "Drag/DragMonitor.h"

#include "Support/Logging.h"

namespace Pelgra {

namespace {

constexpr int samplingIntervalMilliseconds = 33;

} // namespace

DragMonitor::DragMonitor(DragSource& source, QObject* parent)
    : QObject(parent)
    , keys([] { return WheelKeys{}; })
    , m_source(source)
{
    // A coarse timer of this interval would be stretched and would fire unevenly.
    m_timer.setTimerType(Qt::PreciseTimer);
    m_timer.setInterval(samplingIntervalMilliseconds);
    connect(&m_timer, &QTimer::timeout, this, &DragMonitor::tick);
}

DragMonitor::~DragMonitor()
{
    m_source.onNews = nullptr;
}

void DragMonitor::start()
{
    if (m_timer.isActive())
        return;
    m_source.onNews = [this] {
        tick();
    };
    m_timer.start();
    tick(); // the baseline is now, however late the first timeout is
    qCInfo(dragLog, "Drag monitor started");
}

void DragMonitor::tick()
{
    const WheelKeys bound = keys();
    machine.convertFlag = flagOf(bound.convert);
    machine.toolsFlag = flagOf(bound.tools);
    m_source.setTapFlags(machine.convertFlag | machine.toolsFlag | tapFlagOf(WheelKind::convert)
                         | tapFlagOf(WheelKind::tools));
    m_source.refresh();
    const std::vector<DragEvent> events =
        machine.step(m_source.changeCount(), m_source.primaryButton() == ButtonState::down,
                     m_source.modifierFlags() & relevantTapFlags, [this] { return m_source.fileURLs(); });
    for (const DragEvent& event : events)
        Q_EMIT happened(event);
}

} // namespace Pelgra
