#pragma once

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QEventLoop>
#include <QImage>
#include <QRect>
#include <QThread>

namespace Pelgra {

/// Runs the event loop until the condition holds; false when it never does.
template <typename Condition>
bool waitFor(Condition condition)
{
    const QDeadlineTimer deadline(5000);
    while (!deadline.hasExpired()) {
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
        if (condition())
            return true;
        QThread::msleep(10);
    }
    return false;
}

/// What the screen shows in an area (logical pixels).
QImage grab(const QRect& area);

/// The screen once it no longer changes: compositing managers paint a little later.
QImage grabSettled(const QRect& area);

} // namespace Pelgra
