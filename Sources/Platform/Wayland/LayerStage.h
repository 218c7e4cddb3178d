#pragma once

#include "Platform/Sampling/DragCatcher.h"
#include "Platform/WheelSurface.h"

#include <QMenu>
#include <QPointer>
#include <QTimer>
#include <QWidget>

#include <functional>

namespace Pelgra {

/// A transparent surface over a whole screen, above all windows, on which the wheel stands. It catches drags, shows
/// where the pointer is, and is there only while it is of use: whatever lies below it is out of reach meanwhile.
class LayerStage final : public QWidget, public WheelSurface, public DragCatcher {
    Q_OBJECT

public:
    LayerStage();
    ~LayerStage() override;

    // WheelSurface. The panel becomes a part of the stage, which is shown and hidden with it.
    void attach(QWidget* panel, DropTarget* target) override;
    void detach() override;
    void setInputRegion(const QRegion&) override { }
    void setPaintedRegion(const QRegion&) override { }
    void place(QWidget& panel, QPoint origin) override;
    void setTakesKeys(bool takesKeys) override { m_takesKeys = takesKeys; }
    bool isCompositing() const override { return true; }

    // DragCatcher
    void spread() override;
    void fold() override;

    /// Calls back once with the place of the pointer; the middle of the screen when it stays unknown.
    void findPointer(std::function<void(QPoint)> found);

    /// Whether Shift is down, where that is known.
    std::function<bool()> isShiftHeld;

    /// Opens a menu at the pointer. Nobody else can be its parent: the click was on a window of another program.
    void popUp(QMenu& menu);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void paintEvent(QPaintEvent*) override { }
    void mousePressEvent(QMouseEvent* event) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dragMoveEvent(QDragMoveEvent* event) override;
    void dragLeaveEvent(QDragLeaveEvent* event) override;
    void dropEvent(QDropEvent* event) override;

private:
    void showLayer(bool takesKeys);
    void hideIfUnused();
    void pointerSeen(QPointF place);
    void answerPointer(QPoint place);
    QPoint globalPoint(QPointF place) const;
    QPointF panelPoint(QPointF place) const;
    bool isWellAway(QPointF place) const;
    bool isOverWheel(QPointF place) const;

    QPointer<QWidget> m_panel;
    DropTarget* m_target = nullptr;
    std::vector<std::filesystem::path> m_files; ///< of the drag that came last
    bool m_isSpread = false;
    bool m_takesKeys = false;
    bool m_hasDrag = false;
    bool m_isAccepted = false; ///< the drag, where it was last
    QPointer<QMenu> m_menu;
    std::function<void(QPoint)> m_pointerFound;
    QTimer m_pointerPatience;
};

} // namespace Pelgra
