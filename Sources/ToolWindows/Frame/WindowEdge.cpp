#include "ToolWindows/Frame/WindowEdge.h"

#include <QMouseEvent>
#include <QWindow>

namespace Pelgra {

namespace {

// Logical pixels.
constexpr int thickness = 6;
constexpr int cornerSide = 16;

Qt::CursorShape cursorFor(Qt::Edges edges)
{
    if (edges == (Qt::TopEdge | Qt::LeftEdge) || edges == (Qt::BottomEdge | Qt::RightEdge))
        return Qt::SizeFDiagCursor;
    if (edges == (Qt::TopEdge | Qt::RightEdge) || edges == (Qt::BottomEdge | Qt::LeftEdge))
        return Qt::SizeBDiagCursor;
    return edges & (Qt::LeftEdge | Qt::RightEdge) ? Qt::SizeHorCursor : Qt::SizeVerCursor;
}

} // namespace

WindowEdge::WindowEdge(Qt::Edges edges, QWidget* window)
    : QWidget(window)
    , m_edges(edges)
{
    setCursor(cursorFor(edges));
}

void WindowEdge::addAround(QWidget* window)
{
    for (const Qt::Edge edge : {Qt::LeftEdge, Qt::RightEdge, Qt::TopEdge, Qt::BottomEdge})
        new WindowEdge(edge, window);
    for (const Qt::Edge side : {Qt::LeftEdge, Qt::RightEdge}) { // above the edges that meet there
        new WindowEdge(side | Qt::TopEdge, window);
        new WindowEdge(side | Qt::BottomEdge, window);
    }
    layOut(window);
}

void WindowEdge::layOut(QWidget* window)
{
    for (WindowEdge* const edge : window->findChildren<WindowEdge*>(Qt::FindDirectChildrenOnly)) {
        edge->setGeometry(edge->frameIn(window->size()));
        edge->raise();
    }
}

QRect WindowEdge::frameIn(QSize size) const
{
    const bool isCorner = (m_edges & (Qt::LeftEdge | Qt::RightEdge)) && (m_edges & (Qt::TopEdge | Qt::BottomEdge));
    const int side = isCorner ? cornerSide : thickness;
    QRect frame(QPoint(), size);
    if (m_edges & Qt::LeftEdge)
        frame.setWidth(side);
    if (m_edges & Qt::RightEdge)
        frame.setLeft(size.width() - side);
    if (m_edges & Qt::TopEdge)
        frame.setHeight(side);
    if (m_edges & Qt::BottomEdge)
        frame.setTop(size.height() - side);
    return frame;
}

void WindowEdge::mousePressEvent(QMouseEvent* event)
{
    m_dragStart.press(*event);
}

void WindowEdge::mouseMoveEvent(QMouseEvent* event)
{
    if (m_dragStart.begins(*event) && window()->windowHandle())
        window()->windowHandle()->startSystemResize(m_edges);
}

void WindowEdge::mouseReleaseEvent(QMouseEvent* event)
{
    m_dragStart.release(*event);
}

} // namespace Pelgra
