#pragma once

#include "Controls/DragStart.h"

#include <QWidget>

namespace Pelgra {

/// An invisible strip along one edge or over one corner of a window without a frame: a drag resizes the window the way
/// the desktop does, with its snapping and its limits.
class WindowEdge : public QWidget {
    Q_OBJECT

public:
    /// Lays strips around the window, above all its other children. Call layOut() whenever the window's size changes.
    static void addAround(QWidget* window);
    static void layOut(QWidget* window);

protected:
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;

private:
    WindowEdge(Qt::Edges edges, QWidget* window);

    QRect frameIn(QSize size) const;

    Qt::Edges m_edges;
    DragStart m_dragStart;
};

} // namespace Pelgra
