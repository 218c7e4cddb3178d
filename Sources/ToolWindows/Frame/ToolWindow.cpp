#include "ToolWindows/Frame/ToolWindow.h"

#include "Controls/TabOrder.h"
#include "Controls/ToolButtons.h"
#include "Platform/Compositing.h"
#include "Platform/Pointer.h"
#include "ToolWindows/Frame/WindowEdge.h"

#include <QCloseEvent>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QScreen>
#include <QScrollArea>
#include <QWindow>

#include <cmath>

namespace Pelgra {

namespace {

constexpr double cornerRadius = 12; // logical pixels

bool asksToClose(const QKeyEvent& event)
{
    // Caps Lock does not count as a modifier here, and the keypad's bit says nothing about what was meant.
    const Qt::KeyboardModifiers held = event.modifiers() & ~(Qt::KeypadModifier | Qt::GroupSwitchModifier);
    return (event.key() == Qt::Key_Escape && held == Qt::NoModifier)
        || (event.key() == Qt::Key_W && held == Qt::ControlModifier);
}

} // namespace

ToolWindow::ToolWindow()
    : QWidget(nullptr, Qt::Window | Qt::FramelessWindowHint)
{
    setAttribute(Qt::WA_TranslucentBackground); // only for the corners
}

void ToolWindow::setSizeLimits(QSize smallest, QSize largest)
{
    setMinimumSize(smallest);
    setMaximumSize(largest);
    if (smallest != largest)
        WindowEdge::addAround(this);
}

QPainterPath ToolWindow::shapeOf(const QWidget& window)
{
    QPainterPath shape;
    const double radius = window.windowState() & (Qt::WindowMaximized | Qt::WindowFullScreen) ? 0 : cornerRadius;
    shape.addRoundedRect(QRectF(window.rect()), radius, radius);
    return shape;
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
    const QScreen* const screen = Pointer::screen();
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
        Q_EMIT closeRequested();
        return true;
    }
    return QWidget::event(event);
}

void ToolWindow::closeEvent(QCloseEvent* event)
{
    if (m_closesForGood)
        return;
    Q_EMIT closeRequested();
    event->setAccepted(m_closesForGood); // a refusal would keep the whole application from ending
}

void ToolWindow::mousePressEvent(QMouseEvent* event)
{
    // Whatever no control has taken belongs to the window's background.
    m_dragStart.press(*event);
}

void ToolWindow::mouseMoveEvent(QMouseEvent* event)
{
    if (m_dragStart.begins(*event) && windowHandle())
        windowHandle()->startSystemMove();
}

void ToolWindow::mouseReleaseEvent(QMouseEvent* event)
{
    m_dragStart.release(*event);
}

void ToolWindow::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QPainterPath shape = shapeOf(*this);
    if (Compositing::isActive())
        painter.fillPath(shape, palette().color(QPalette::Window));
    else
        painter.fillRect(rect(), palette().color(QPalette::Window)); // cut to its outline, without soft edges
    // Nobody else draws a frame around the window, and the one below may have the same colour.
    painter.setClipPath(shape);
    painter.strokePath(shape, QPen(primaryColor(*this, 0.2), 2));
}

void ToolWindow::applyShape()
{
    Compositing::setOutline(*this, shapeOf(*this));
    update();
}

void ToolWindow::resizeEvent(QResizeEvent* event)
{
    QWidget::resizeEvent(event);
    applyShape();
    WindowEdge::layOut(this);
}

void ToolWindow::showEvent(QShowEvent* event)
{
    QWidget::showEvent(event);
    applyShape();
    WindowEdge::layOut(this);
}

void ToolWindow::changeEvent(QEvent* event)
{
    QWidget::changeEvent(event);
    // Activation too: a compositing manager may have come or gone since.
    if (event->type() == QEvent::WindowStateChange || event->type() == QEvent::ActivationChange)
        applyShape();
}

bool ToolWindow::focusNextPrevChild(bool next)
{
    QWidget* const control = TabOrder::next(*this, next);
    if (!control)
        return false;
    control->setFocus(next ? Qt::TabFocusReason : Qt::BacktabFocusReason);
    for (QWidget* parent = control->parentWidget(); parent; parent = parent->parentWidget()) {
        if (auto* const area = qobject_cast<QScrollArea*>(parent))
            area->ensureWidgetVisible(control, 0, 12);
    }
    return true;
}

void ToolWindow::closeForGood()
{
    m_closesForGood = true;
    close();
}

} // namespace Pelgra
