#pragma once

#include "Controls/DragStart.h"

#include <QPainterPath>
#include <QWidget>

namespace Pelgra {

/// The window of one tool: no title bar of its own, rounded, moved by its background, resized at its edges where its
/// size may change, closed by Escape and Control+W. Whether it may close is not its own decision.
class ToolWindow : public QWidget {
    Q_OBJECT

public:
    ToolWindow();

    /// Puts the window in the middle of the work area of the screen that holds the pointer, shrunk to it if need be.
    void centerOnPointerScreen();

    /// The frame of a window of this size centred in an area: rounded, and no larger than the area.
    static QRect centeredFrame(QSize size, QRect area);

    /// The outline of a window of this kind in its own coordinates: rounded unless it fills the screen.
    static QPainterPath shapeOf(const QWidget& window);

    /// The smallest and largest size, logical pixels.
    void setSizeLimits(QSize smallest, QSize largest);

    /// Closes without asking anyone.
    void closeForGood();

Q_SIGNALS:
    /// The user asked to close: Escape, Control+W, or the window manager. The window stays unless closeForGood()
    /// follows.
    void closeRequested();

protected:
    bool event(QEvent* event) override;
    void closeEvent(QCloseEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void changeEvent(QEvent* event) override;
    bool focusNextPrevChild(bool next) override;

private:
    void applyShape();

    bool m_closesForGood = false;
    DragStart m_dragStart;
};

} // namespace Pelgra
