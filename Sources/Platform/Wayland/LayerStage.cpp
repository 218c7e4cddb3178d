#include "Platform/Wayland/LayerStage.h"

#include "Platform/UriList.h"
#include "Support/Logging.h"

#include <LayerShellQt/Window>

#include <QDragEnterEvent>
#include <QDragLeaveEvent>
#include <QEnterEvent>
#include <QMimeData>
#include <QMouseEvent>
#include <QScreen>
#include <QWindow>

#include <cmath>
#include <utility>

namespace Pelgra {

namespace {

constexpr int pointerPatienceMilliseconds = 150;

const QString uriList = QStringLiteral("text/uri-list");

/// A region of nothing: an empty one stands for everything.
const QRegion nowhere(-1, -1, 1, 1);

/// A copy is asked for whatever the source suggests: with Shift held some offer only to move, and the file with it.
void accept(QDropEvent& event)
{
    event.setDropAction(Qt::CopyAction);
    event.accept();
}

} // namespace

LayerStage::LayerStage()
    : QWidget(nullptr, Qt::FramelessWindowHint | Qt::NoDropShadowWindowHint)
{
    setAttribute(Qt::WA_TranslucentBackground);
    setAttribute(Qt::WA_ShowWithoutActivating);
    setAcceptDrops(true);
    setObjectName(QStringLiteral("stage"));
    setWindowTitle(QStringLiteral("Pelgra"));
    resize(screen()->size());
    winId();
    windowHandle()->installEventFilter(this);
    auto* const layer = LayerShellQt::Window::get(windowHandle());
    layer->setLayer(LayerShellQt::Window::LayerOverlay);
    layer->setAnchors({LayerShellQt::Window::AnchorTop, LayerShellQt::Window::AnchorBottom,
                       LayerShellQt::Window::AnchorLeft, LayerShellQt::Window::AnchorRight});
    layer->setExclusiveZone(-1);
    layer->setScope(QStringLiteral("pelgra-wheel"));
    // The screen under the pointer; the toolkit would guess.
    layer->setScreenConfiguration(LayerShellQt::Window::ScreenFromCompositor);
    layer->setCloseOnDismissed(false);
    m_pointerPatience.setSingleShot(true);
    m_pointerPatience.setInterval(pointerPatienceMilliseconds);
    connect(&m_pointerPatience, &QTimer::timeout, this, [this] { answerPointer(screen()->geometry().center()); });
}

LayerStage::~LayerStage()
{
    detach();
}

void LayerStage::attach(QWidget* panel, DropTarget* target)
{
    detach();
    m_panel = panel;
    m_target = target;
    panel->setParent(this);
    panel->hide(); // or it would come with the stage
    panel->installEventFilter(this);
}

void LayerStage::detach()
{
    if (m_panel) {
        m_panel->removeEventFilter(this);
        m_panel->setParent(nullptr);
    }
    m_panel = nullptr;
    m_target = nullptr;
}

void LayerStage::place(QWidget& panel, QPoint origin)
{
    panel.move(origin - screen()->geometry().topLeft());
}

void LayerStage::spread()
{
    m_isSpread = true;
    m_hasDrag = false;
    qCDebug(dragLog, "Looking for a drag");
    showLayer(false);
}

void LayerStage::fold()
{
    m_isSpread = false;
    m_hasDrag = false;
    windowHandle()->setMask(nowhere); // a wheel may still fade on it
    hideIfUnused();
}

void LayerStage::findPointer(std::function<void(QPoint)> found)
{
    m_pointerFound = std::move(found);
    showLayer(true);
    m_pointerPatience.start();
}

void LayerStage::popUp(QMenu& menu)
{
    if (m_menu)
        m_menu->close();
    connect(&menu, &QMenu::aboutToHide, this, &LayerStage::hideIfUnused,
            static_cast<Qt::ConnectionType>(Qt::QueuedConnection | Qt::UniqueConnection));
    findPointer([this, menu = QPointer<QMenu>(&menu)](QPoint point) {
        if (!menu)
            return;
        m_menu = menu;
        menu->winId();
        menu->windowHandle()->setTransientParent(windowHandle());
        menu->popup(point);
    });
}

void LayerStage::showLayer(bool takesKeys)
{
    LayerShellQt::Window::get(windowHandle())
        ->setKeyboardInteractivity(takesKeys ? LayerShellQt::Window::KeyboardInteractivityExclusive
                                             : LayerShellQt::Window::KeyboardInteractivityNone);
    windowHandle()->setMask(QRegion());
    show();
}

void LayerStage::hideIfUnused()
{
    const bool hasMenu = m_menu && m_menu->isVisible();
    if (!m_isSpread && !m_pointerFound && !hasMenu && !(m_panel && m_panel->isVisible()))
        hide();
}

QPoint LayerStage::globalPoint(QPointF place) const
{
    return place.toPoint() + screen()->geometry().topLeft();
}

QPointF LayerStage::panelPoint(QPointF place) const
{
    return m_panel ? place - m_panel->pos() : QPointF(-1, -1);
}

/// So far from the wheel that it is not what the drag is for.
bool LayerStage::isWellAway(QPointF place) const
{
    if (!m_panel || !m_panel->isVisible())
        return false;
    const QPointF way = place - m_panel->geometry().toRectF().center();
    return std::hypot(way.x(), way.y()) > m_panel->width();
}

bool LayerStage::isOverWheel(QPointF place) const
{
    if (!m_panel || !m_panel->isVisible())
        return m_hasDrag; // it comes in a moment
    const QPointF way = place - m_panel->geometry().toRectF().center();
    return std::hypot(way.x(), way.y()) <= m_panel->width() / 2.0;
}

bool LayerStage::eventFilter(QObject* watched, QEvent* event)
{
    if (watched == m_panel) {
        // What the panel is told itself: it gets no Show while the stage is hidden.
        if (event->type() == QEvent::ShowToParent && (m_takesKeys || !isVisible()))
            showLayer(m_takesKeys);
        else if (event->type() == QEvent::HideToParent)
            QMetaObject::invokeMethod(this, &LayerStage::hideIfUnused, Qt::QueuedConnection);
    } else if (event->type() == QEvent::Enter) {
        pointerSeen(static_cast<QEnterEvent*>(event)->position());
    } else if (event->type() == QEvent::MouseMove) {
        pointerSeen(static_cast<QMouseEvent*>(event)->position());
    }
    return QWidget::eventFilter(watched, event);
}

void LayerStage::pointerSeen(QPointF place)
{
    const QPoint point = globalPoint(place);
    if (m_pointerFound)
        answerPointer(point);
    else if (m_isSpread && onPointer)
        onPointer(point);
}

void LayerStage::answerPointer(QPoint place)
{
    m_pointerPatience.stop();
    if (const auto found = std::exchange(m_pointerFound, nullptr))
        found(place);
    hideIfUnused();
}

void LayerStage::mousePressEvent(QMouseEvent*)
{
    if (m_target)
        m_target->pressedBeside();
}

void LayerStage::dragEnterEvent(QDragEnterEvent* event)
{
    accept(*event); // or no motion would follow
    if (!m_isSpread)
        return;
    const QByteArray list = event->mimeData()->data(uriList);
    m_files = filesOfUriList({list.constData(), static_cast<std::size_t>(list.size())});
    if (list.isEmpty() && event->mimeData()->hasFormat(uriList)) {
        qCInfo(dragLog, "The source of the drag did not answer in time");
        if (onLeft)
            onLeft(); // it may at the next tap
        return;
    }
    m_hasDrag = true;
    m_isAccepted = false;
    qCDebug(dragLog, "Drag caught with %zu file(s)", m_files.size());
    if (onEntered)
        onEntered(m_files, globalPoint(event->position()));
}

void LayerStage::dragMoveEvent(QDragMoveEvent* event)
{
    if (!m_hasDrag || !m_target) {
        event->ignore();
        return;
    }
    if (isWellAway(event->position())) {
        event->ignore();
        m_target->dragLeft();
        if (onLeft)
            onLeft();
        return;
    }
    if (onMoved)
        onMoved(globalPoint(event->position()));
    const bool isAccepted = m_target->dragMoved(panelPoint(event->position()));
    // Beside the petals as well, where one is a single movement away: a release right behind that movement would reach
    // the compositor before our answer to it. The source of a drop that does nothing then believes its files copied;
    // but never moved, as it might with Shift held.
    if (isAccepted || (isOverWheel(event->position()) && !(isShiftHeld && isShiftHeld())))
        accept(*event);
    else
        event->ignore();
    if (std::exchange(m_isAccepted, isAccepted) != isAccepted)
        qCDebug(dragLog, "The drag is %s here", isAccepted ? "accepted" : "not accepted");
}

void LayerStage::dragLeaveEvent(QDragLeaveEvent*)
{
    if (!std::exchange(m_hasDrag, false))
        return;
    qCDebug(dragLog, "The drag left");
    if (m_target)
        m_target->dragLeft();
    if (onLeft)
        onLeft();
}

void LayerStage::dropEvent(QDropEvent* event)
{
    event->ignore();
    if (!std::exchange(m_hasDrag, false))
        return;
    bool isTaken = false;
    if (m_target) {
        const QPointF place = panelPoint(event->position());
        if (onMoved)
            onMoved(globalPoint(event->position()));
        const DropTarget::Drop take = m_target->dropAt(place);
        isTaken = take && take(m_files);
        m_target->dragEnded(false);
    }
    if (isTaken)
        accept(*event);
    if (onDropped)
        onDropped();
}

} // namespace Pelgra
