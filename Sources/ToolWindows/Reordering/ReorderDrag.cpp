#include "ToolWindows/Reordering/ReorderDrag.h"

#include <QAbstractScrollArea>
#include <QApplication>
#include <QKeyEvent>
#include <QLabel>
#include <QScrollBar>
#include <QTimerEvent>

#include <algorithm>
#include <utility>

namespace Pelgra {

namespace {

constexpr int edge = 48; // logical pixels from the edge where scrolling begins
constexpr int fastestStep = 22; // logical pixels a tick
constexpr int tickMilliseconds = 16;

} // namespace

ReorderDrag::ReorderDrag(QAbstractScrollArea* area)
    : QObject(area)
    , m_area(area)
    , m_picture(new QLabel(area->viewport()))
{
    m_picture->setAttribute(Qt::WA_TransparentForMouseEvents);
    m_picture->hide();
}

void ReorderDrag::press(QPoint viewportPoint)
{
    release();
    if (!isEnabled())
        return;
    m_pressed = itemAt(contentPoint(viewportPoint));
    m_pressPoint = viewportPoint;
}

void ReorderDrag::move(QPoint viewportPoint, bool buttonDown)
{
    if (!buttonDown) {
        release(); // the release was never reported, so the drag is stale
        return;
    }
    m_point = viewportPoint;
    if (!m_dragging && m_pressed
        && (viewportPoint - m_pressPoint).manhattanLength() >= QApplication::startDragDistance())
        begin(*m_pressed);
    if (m_dragging)
        follow();
}

void ReorderDrag::begin(const Identifier& item)
{
    m_picture->setParent(m_area->window()); // its shadow reaches beyond the list
    m_picture->setPixmap(pictureOf(item));
    m_picture->adjustSize();
    m_origin = originOf(item);
    m_grip = m_pressPoint - m_origin;
    movePicture();
    m_picture->show();
    m_picture->raise();
    m_dragging = item;
    m_scrolling.start(tickMilliseconds, this);
    qApp->installEventFilter(this);
    Q_EMIT draggingChanged();
}

void ReorderDrag::movePicture()
{
    const QPoint place = m_point - m_grip;
    m_picture->move(
        m_area->viewport()->mapTo(m_area->window(), QPoint(isVertical ? m_origin.x() : place.x(), place.y())));
}

void ReorderDrag::follow()
{
    movePicture();
    const auto target = itemAt(contentPoint(m_point));
    if (target && *target != *m_dragging)
        Q_EMIT entered(*m_dragging, *target);
}

void ReorderDrag::release()
{
    if (putDown())
        Q_EMIT ended();
}

bool ReorderDrag::putDown()
{
    m_pressed.reset();
    if (!std::exchange(m_dragging, std::nullopt))
        return false;
    qApp->removeEventFilter(this);
    m_scrolling.stop();
    m_picture->hide();
    Q_EMIT draggingChanged();
    return true;
}

bool ReorderDrag::eventFilter(QObject* watched, QEvent* event)
{
    switch (event->type()) {
    case QEvent::ShortcutOverride:
        event->accept(); // otherwise the key would be looked up among the shortcuts
        return true;
    case QEvent::KeyPress:
        if (static_cast<QKeyEvent*>(event)->key() == Qt::Key_Escape && putDown())
            Q_EMIT cancelled();
        return true;
    default:
        return QObject::eventFilter(watched, event);
    }
}

int ReorderDrag::scrollStep() const
{
    const int height = m_area->viewport()->height();
    if (m_point.y() < edge)
        return -std::clamp((edge - m_point.y()) * fastestStep / edge, 1, fastestStep);
    if (m_point.y() > height - edge)
        return std::clamp((m_point.y() - height + edge) * fastestStep / edge, 1, fastestStep);
    return 0;
}

void ReorderDrag::timerEvent(QTimerEvent* event)
{
    if (event->timerId() != m_scrolling.timerId())
        return;
    QScrollBar* const bar = m_area->verticalScrollBar();
    const int before = bar->value();
    bar->setValue(before + scrollStep());
    if (bar->value() != before)
        follow();
}

} // namespace Pelgra
