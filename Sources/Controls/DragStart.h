#pragma once

#include <QApplication>
#include <QMouseEvent>

#include <optional>

namespace Pelgra {

/// Tells the beginning of a drag from a click, before a window manager is asked to move or resize the window. One that
/// hears of it when the button is already up would drag the window along with the pointer until the next click.
class DragStart {
public:
    // Other buttons neither begin a drag nor end that of the left one.
    void press(const QMouseEvent& event)
    {
        if (event.button() == Qt::LeftButton)
            m_pressed = event.globalPosition();
    }

    void release(const QMouseEvent& event)
    {
        if (event.button() == Qt::LeftButton)
            m_pressed.reset();
    }

    /// True once for each press, when the pointer has gone far enough with the button down.
    bool begins(const QMouseEvent& move)
    {
        if (!m_pressed || !(move.buttons() & Qt::LeftButton)
            || (move.globalPosition() - *m_pressed).manhattanLength() < QApplication::startDragDistance())
            return false;
        m_pressed.reset();
        return true;
    }

private:
    std::optional<QPointF> m_pressed; ///< on the screen, logical pixels
};

} // namespace Pelgra
