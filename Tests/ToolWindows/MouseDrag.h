#pragma once

#include <QTest>
#include <QWidget>
#include <QWindow>

namespace Pelgra {

/// Drags inside a window by the events a pointer makes, sent the way the window system sends them.
class MouseDrag {
public:
    /// Presses in the middle of the widget.
    explicit MouseDrag(QWidget* item)
        : m_window(item->window())
        , m_at(item->mapTo(m_window, item->rect().center()))
    {
        QTest::mousePress(m_window->windowHandle(), Qt::LeftButton, {}, m_at);
        moveTo(m_at + QPoint(15, 0)); // far enough to be a drag
    }

    void moveTo(QPoint windowPoint)
    {
        m_at = windowPoint;
        QTest::mouseMove(m_window->windowHandle(), m_at);
        QCoreApplication::processEvents();
    }

    void moveOver(QWidget* item) { moveTo(item->mapTo(m_window, item->rect().center())); }

    /// While the left button stays down.
    void clickRight()
    {
        QTest::mousePress(m_window->windowHandle(), Qt::RightButton, {}, m_at);
        QTest::mouseRelease(m_window->windowHandle(), Qt::RightButton, {}, m_at);
        QCoreApplication::processEvents();
    }

    void release()
    {
        QTest::mouseRelease(m_window->windowHandle(), Qt::LeftButton, {}, m_at);
        QCoreApplication::processEvents();
    }

private:
    QWidget* m_window;
    QPoint m_at;
};

} // namespace Pelgra
