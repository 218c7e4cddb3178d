#include "ToolWindows/Reordering/ReorderView.h"

#include "Controls/SlimScrollBar.h"
#include "Controls/SoftShadow.h"
#include "Controls/ToolButtons.h"
#include "Desktop/Motion.h"
#include "ToolWindows/Reordering/ReorderDrag.h"

#include <QApplication>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QPropertyAnimation>
#include <QScrollBar>

#include <algorithm>

namespace Pelgra {

namespace {

constexpr double liftedRadius = 13; // between those of rows and cards
constexpr int liftedMargin = 20; // for the shadow
const SoftShadow liftedShadow{QColor(0, 0, 0, 80), {0, 4}, 16};
constexpr int margin =
    200; // logical pixels kept ready above and below the visible part, so that Tab finds the neighbours

bool hasKeyboard(const QWidget& item)
{
    return item.hasFocus() || item.isAncestorOf(QApplication::focusWidget());
}

/// An item as it looks when lifted from its place: no longer translucent, above its shadow.
QPixmap liftedPicture(QWidget& item)
{
    const double scale = item.devicePixelRatioF();
    const QRectF frame(QPointF(liftedMargin, liftedMargin), QSizeF(item.size()));
    QPixmap picture((QSizeF(item.size()) + 2.0 * QSizeF(liftedMargin, liftedMargin)).toSize() * scale);
    picture.setDevicePixelRatio(scale);
    picture.fill(Qt::transparent);
    QPainter painter(&picture);
    painter.setRenderHint(QPainter::Antialiasing);
    liftedShadow.paint(painter, frame, liftedRadius);
    painter.setPen(Qt::NoPen);
    painter.setBrush(item.palette().color(QPalette::Window));
    painter.drawRoundedRect(frame, liftedRadius, liftedRadius);
    painter.setBrush(Qt::NoBrush); // the item's own painters start from the state of this one
    item.render(&painter, frame.topLeft().toPoint(), QRegion(), QWidget::DrawChildren);
    painter.setPen(QPen(primaryColor(item, 0.12), 1));
    painter.drawRoundedRect(frame.adjusted(0.5, 0.5, -0.5, -0.5), liftedRadius, liftedRadius);
    return picture;
}

} // namespace

ReorderView::ReorderView(QWidget* parent)
    : QScrollArea(parent)
    , m_content(new QWidget)
    , m_drag(new ReorderDrag(this))
{
    setFrameShape(QFrame::NoFrame);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setVerticalScrollBar(new SlimScrollBar(this));
    setFocusPolicy(Qt::NoFocus);
    setWidget(m_content);
    m_content->setAutoFillBackground(false);
    viewport()->setAutoFillBackground(false);
    m_content->installEventFilter(this);
    connect(qApp, &QApplication::focusChanged, this, [this] {
        if (const auto index = focusedIndex())
            m_lastFocused = idAt(*index);
    });

    m_drag->isEnabled = [this] {
        return count() > 1;
    };
    m_drag->itemAt = [this](QPoint point) {
        // By where items will come to rest, not by where they are while they slide: otherwise two would swap back and
        // forth.
        const auto index = indexAt(point);
        return index ? std::optional(idAt(*index)) : std::nullopt;
    };
    m_drag->contentPoint = [this](QPoint point) {
        return m_content->mapFrom(viewport(), point);
    };
    m_drag->pictureOf = [this](const Identifier& id) {
        const auto item = m_items.find(id);
        return item == m_items.end() ? QPixmap() : liftedPicture(*item->second);
    };
    m_drag->originOf = [this](const Identifier& id) {
        const auto item = m_items.find(id);
        return item == m_items.end() ? QPoint() : item->second->mapTo(viewport(), -QPoint(liftedMargin, liftedMargin));
    };
    connect(m_drag, &ReorderDrag::draggingChanged, this, [this] {
        if (dragging())
            dragBegan();
        refresh(false);
    });
    connect(m_drag, &ReorderDrag::entered, this, [this](const Identifier& dragged, const Identifier& target) {
        if (dragOver(dragged, target))
            refresh(true);
    });
    connect(m_drag, &ReorderDrag::ended, this, [this] { dragEnded(); });
    connect(m_drag, &ReorderDrag::cancelled, this, [this] {
        dragCancelled();
        refresh(true);
    });
}

ReorderView::~ReorderView()
{
    disconnect(qApp, nullptr, this, nullptr); // the focus leaves it while it is being destroyed
}

const std::optional<Identifier>& ReorderView::dragging() const
{
    return m_drag->dragging();
}

QList<QWidget*> ReorderView::itemsInOrder() const
{
    QList<QWidget*> items;
    for (std::size_t index = 0; index < count() && items.size() < static_cast<qsizetype>(m_items.size()); ++index) {
        if (const auto item = m_items.find(idAt(index)); item != m_items.end())
            items.append(item->second);
    }
    return items;
}

void ReorderView::moveVerticallyOnly()
{
    m_drag->isVertical = true;
}

void ReorderView::itemLeaves(QWidget*)
{
}

void ReorderView::dragBegan()
{
}

void ReorderView::dragEnded()
{
}

int ReorderView::contentWidth() const
{
    return width() - trailingRoom;
}

QWidget* ReorderView::itemFor(std::size_t index)
{
    QWidget*& item = m_items[idAt(index)];
    if (!item) {
        item = makeItem(index, m_content);
        item->setGeometry(frameOf(index));
        item->show();
    }
    return item;
}

void ReorderView::refresh(bool animated, int milliseconds)
{
    m_content->resize(contentWidth(), contentHeight());
    const int top = verticalScrollBar()->value();
    auto [first, last] = indexesBetween(top - margin, top + viewport()->height() + margin);
    first = std::max<std::ptrdiff_t>(first, 0);
    last = std::min(last, static_cast<std::ptrdiff_t>(count()) - 1);

    std::map<Identifier, QWidget*> unused = m_items;
    for (std::ptrdiff_t position = first; position <= last; ++position) {
        const auto index = static_cast<std::size_t>(position);
        QWidget* const item = itemFor(index);
        unused.erase(idAt(index));
        updateItem(item, index, m_drag->dragging() == idAt(index));
        place(item, frameOf(index), animated, milliseconds);
    }
    for (const auto& [id, item] : unused) {
        if (isKept(id, item))
            continue;
        itemLeaves(item);
        m_items.erase(id);
        item->hide();
        item->deleteLater();
    }
}

bool ReorderView::isKept(const Identifier& id, const QWidget* item) const
{
    // The mouse holds it, or the focus is in it and its item still exists.
    if (m_drag->dragging() == id)
        return true;
    return hasKeyboard(*item) && indexOf(id);
}

std::optional<std::size_t> ReorderView::indexOf(const Identifier& id) const
{
    for (std::size_t index = 0; index < count(); ++index) {
        if (idAt(index) == id)
            return index;
    }
    return std::nullopt;
}

std::optional<std::size_t> ReorderView::focusedIndex() const
{
    const auto item =
        std::find_if(m_items.begin(), m_items.end(), [](const auto& entry) { return hasKeyboard(*entry.second); });
    return item == m_items.end() ? std::nullopt : indexOf(item->first);
}

QWidget* ReorderView::tabStop() const
{
    const auto widgetAt = [this](std::size_t index) {
        const auto item = m_items.find(idAt(index));
        return item == m_items.end() ? nullptr : item->second;
    };
    if (const auto index = focusedIndex())
        return widgetAt(*index);
    if (const auto last = m_lastFocused ? indexOf(*m_lastFocused) : std::nullopt; last && isInSight(*last))
        return widgetAt(*last);
    for (std::size_t index = 0; index < count(); ++index) {
        if (isInSight(index))
            return widgetAt(index);
    }
    return nullptr;
}

bool ReorderView::isInSight(std::size_t index) const
{
    const QRect frame = frameOf(index);
    const QRect seen = frame & QRect(0, verticalScrollBar()->value(), contentWidth(), viewport()->height());
    return 2 * seen.height() >= std::min(frame.height(), viewport()->height());
}

std::size_t ReorderView::indexAfterPageKey(std::size_t from, int direction) const
{
    const auto columns = static_cast<std::ptrdiff_t>(columnCount());
    const auto last = static_cast<std::ptrdiff_t>(count()) - 1;
    const int rowStep = frameOf(static_cast<std::size_t>(columns)).top() - frameOf(0).top();
    const std::ptrdiff_t rows = std::max(1, viewport()->height() / rowStep);
    const auto column = static_cast<std::ptrdiff_t>(from) % columns;
    const auto to = static_cast<std::ptrdiff_t>(from) + direction * rows * columns;
    return static_cast<std::size_t>(std::clamp(to, std::min(column, last), last));
}

void ReorderView::keyPressEvent(QKeyEvent* event)
{
    const auto focused = focusedIndex();
    if (!focused || event->modifiers() & ~(Qt::KeypadModifier | Qt::ControlModifier)) {
        QScrollArea::keyPressEvent(event);
        return;
    }
    switch (event->key()) {
    case Qt::Key_Home:
        focusItem(0);
        return;
    case Qt::Key_End:
        focusItem(count() - 1);
        return;
    case Qt::Key_PageUp:
        focusItem(indexAfterPageKey(*focused, -1));
        return;
    case Qt::Key_PageDown:
        focusItem(indexAfterPageKey(*focused, +1));
        return;
    default:
        QScrollArea::keyPressEvent(event);
    }
}

void ReorderView::place(QWidget* item, const QRect& frame, bool animated, int milliseconds)
{
    item->resize(frame.size());
    delete item->findChild<QPropertyAnimation*>(QStringLiteral("slide"), Qt::FindDirectChildrenOnly);
    if (!animated || item->pos() == frame.topLeft() || Motion::isReduced()) {
        item->move(frame.topLeft());
        return;
    }
    auto* const slide = new QPropertyAnimation(item, "pos", item);
    slide->setObjectName(QStringLiteral("slide"));
    slide->setEndValue(frame.topLeft());
    slide->setDuration(milliseconds);
    slide->setEasingCurve(QEasingCurve::InOutQuad);
    slide->start(QAbstractAnimation::DeleteWhenStopped);
}

void ReorderView::reveal(std::size_t index)
{
    const QRect frame = frameOf(index);
    ensureVisible(frame.center().x(), frame.center().y(), 0, frame.height() / 2 + 8);
}

void ReorderView::focusItem(std::size_t index)
{
    reveal(index);
    itemFor(index)->setFocus(Qt::TabFocusReason);
}

bool ReorderView::eventFilter(QObject* watched, QEvent* event)
{
    if (watched != m_content)
        return QScrollArea::eventFilter(watched, event);
    const auto viewportPoint = [&] {
        return m_content->mapTo(viewport(), static_cast<QMouseEvent*>(event)->position().toPoint());
    };
    switch (event->type()) {
    case QEvent::MouseButtonPress:
        if (static_cast<QMouseEvent*>(event)->button() != Qt::LeftButton)
            return false;
        m_drag->press(viewportPoint());
        // Accepted only over an item that can be dragged; elsewhere the window moves by its background.
        return count() > 1 && indexAt(m_content->mapFrom(viewport(), viewportPoint())).has_value();
    case QEvent::MouseMove:
        m_drag->move(viewportPoint(), static_cast<QMouseEvent*>(event)->buttons().testFlag(Qt::LeftButton));
        return false;
    case QEvent::MouseButtonRelease:
        if (static_cast<QMouseEvent*>(event)->button() == Qt::LeftButton)
            m_drag->release();
        return false;
    case QEvent::Hide:
        m_drag->release();
        return false;
    default:
        return QScrollArea::eventFilter(watched, event);
    }
}

void ReorderView::resizeEvent(QResizeEvent* event)
{
    QScrollArea::resizeEvent(event);
    refresh(false);
}

void ReorderView::showEvent(QShowEvent* event)
{
    QScrollArea::showEvent(event);
    refresh(false);
}

void ReorderView::scrollContentsBy(int dx, int dy)
{
    QScrollArea::scrollContentsBy(dx, dy);
    refresh(false);
}

} // namespace Pelgra
