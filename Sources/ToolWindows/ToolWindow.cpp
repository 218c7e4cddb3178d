#include "ToolWindows/ToolWindow.h"

#include <QCloseEvent>
#include <QCursor>
#include <QGuiApplication>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QScreen>
#include <QWindow>

#include <cmath>

namespace Pelgra {

namespace {

bool asksToClose(const QKeyEvent& event)
{
    // Caps Lock is no modifier here, and the keypad's bit says nothing about what was meant.
    const Qt::KeyboardModifiers held = event.modifiers() & ~(Qt::KeypadModifier | Qt::GroupSwitchModifier);
    return (event.key() == Qt::Key_Escape && held == Qt::NoModifier)
        || (event.key() == Qt::Key_W && held == Qt::ControlModifier);
}

} // namespace

ToolWindow::ToolWindow()
    : QWidget(nullptr, Qt::Window | Qt::FramelessWindowHint)
{
}

QRect ToolWindow::centeredFrame(QSize size, QRect area)
{
    const QSize fitted = size.boundedTo(area.size());
    const double x = area.x() + (area.width() - fitted.width()) * 0.5;
    const double y = area.y() + (area.height() - fitted.height()) * 0.5;
    return {QPoint(static_cast<int>(std::lround(x)), static_cast<int>(std::lround(y))), fitted};
}

void ToolWindow::centerOnPointerScreen()
{
    const QScreen* screen = QGuiApplication::screenAt(QCursor::pos());
    if (!screen)
        screen = QGuiApplication::primaryScreen();
    if (!screen)
        return;
    const QRect frame = centeredFrame(size(), screen->availableGeometry());
    if (frame.size() != size()) {
        setMinimumSize(minimumSize().boundedTo(frame.size()));
        setMaximumSize(maximumSize() == minimumSize() ? frame.size() : maximumSize());
    }
    setGeometry(frame);
}

bool ToolWindow::event(QEvent* event)
{
    // The shortcut override comes first, before any control of the window can take the key for itself.
    if (event->type() == QEvent::ShortcutOverride && asksToClose(*static_cast<QKeyEvent*>(event))) {
        event->accept();
        return true;
    }
    if (event->type() == QEvent::KeyPress && asksToClose(*static_cast<QKeyEvent*>(event))) {
        if (onCancel)
            onCancel();
        return true;
    }
    return QWidget::event(event);
}

void ToolWindow::closeEvent(QCloseEvent* event)
{
    if (m_closesForGood)
        return;
    event->ignore();
    if (onCancel)
        onCancel();
}

void ToolWindow::mousePressEvent(QMouseEvent* event)
{
    // Whatever no control has taken is the window's own background.
    if (event->button() == Qt::LeftButton && windowHandle())
        windowHandle()->startSystemMove();
}

void ToolWindow::closeForGood()
{
    m_closesForGood = true;
    close();
}

} // namespace Pelgra
