#pragma once

#include <QWidget>

#include <functional>

namespace Pelgra {

/// The window of one tool: no title bar of its own, moved by its background, closed by Escape and Control+W. Whether it
/// may close is not its own decision.
class ToolWindow : public QWidget {
    Q_OBJECT

public:
    ToolWindow();

    /// The user asked to close: Escape, Control+W, or the window manager.
    std::function<void()> onCancel;

    /// Puts the window in the middle of the work area of the screen that holds the pointer, shrunk to it if need be.
    void centerOnPointerScreen();

    /// The frame of a window of this size centred in an area: rounded, and no larger than the area.
    static QRect centeredFrame(QSize size, QRect area);

    /// Closes without asking anyone.
    void closeForGood();

protected:
    bool event(QEvent* event) override;
    void closeEvent(QCloseEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;

private:
    bool m_closesForGood = false;
};

} // namespace Pelgra
