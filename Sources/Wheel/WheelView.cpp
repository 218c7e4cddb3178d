#include "Wheel/WheelView.h"

#include "Desktop/TickSound.h"
#include "Platform/ShapePixels.h"
#include "Support/Logging.h"
#include "Wheel/WheelAccessible.h"
#include "Wheel/WheelCanvas.h"
#include "Wheel/WheelCentre.h"
#include "Wheel/WheelDrawing.h"
#include "Wheel/WheelModifiers.h"

#include <QGuiApplication>
#include <QKeyEvent>
#include <QMouseEvent>

#include <utility>

namespace Pelgra {

WheelView::WheelView(QWidget* parent)
    : QWidget(parent)
    , playTick(TickSound::play)
    , m_canvas(new WheelCanvas(this))
{
    WheelAccessible::install();
    setObjectName(QStringLiteral("wheel"));
    setMouseTracking(true);
    setFocusPolicy(Qt::StrongFocus);
}

void WheelView::configure(std::vector<WheelPetal> petals, const QString& emptyMessage)
{
    // The highlight belongs to the old petals; it goes without a sound.
    m_content.highlightedIndex.reset();
    m_content.layout = WheelLayout::forPetalCount(static_cast<int>(petals.size()));
    m_content.petals = std::move(petals);
    m_content.emptyMessage = emptyMessage;
    repaintAll();
    WheelAccessible::petalsChanged(this);
}

void WheelView::setHighlightedIndex(std::optional<int> index)
{
    if (index == m_content.highlightedIndex)
        return;
    // Only what changes is painted again: the two petals and the capsule, whose width depends on the petal.
    repaintHighlight();
    m_content.highlightedIndex = index;
    repaintHighlight();
    if (!m_content.isCompositing)
        Q_EMIT regionsChanged();
    if (index) {
        playTick();
        WheelAccessible::highlightMoved(this, *index);
    }
}

void WheelView::setSummary(const QString& summary)
{
    if (summary == m_content.summary)
        return;
    m_content.summary = summary;
    repaintAll();
}

void WheelView::setThumbnails(std::vector<QImage> thumbnails)
{
    m_content.thumbnails = std::move(thumbnails);
    repaintAll();
}

void WheelView::setThumbnail(std::size_t index, const QImage& thumbnail)
{
    if (index >= m_content.thumbnails.size())
        return;
    m_content.thumbnails[index] = thumbnail;
    repaintAll();
}

void WheelView::setCompositing(bool isCompositing)
{
    m_content.isCompositing = isCompositing;
    repaintAll();
}

std::optional<int> WheelView::petalIndexAt(QPointF viewPoint) const
{
    return m_content.layout.petalIndexAt(wheelPointAt(viewPoint, rect()));
}

QPainterPath WheelView::petalPath(int petal) const
{
    return wheelToView(rect()).map(m_content.layout.pathForPetal(petal));
}

void WheelView::activate(int petal)
{
    if (!fallbackURLs.empty())
        scheduleActivation(m_content.petals[static_cast<std::size_t>(petal)], fallbackURLs);
}

QRegion WheelView::activeRegion() const
{
    return pixelsOf(WheelDrawing::activePath(m_content, rect()), size(), devicePixelRatioF());
}

QRegion WheelView::paintedRegion() const
{
    // Regions are united, not their paths: uniting paths takes longer than painting them.
    QRegion region = activeRegion();
    if (!m_content.petals.empty()) {
        for (const QPainterPath& outline : WheelCentre::outlines(m_content, rect().toRectF().center()))
            region += pixelsOf(outline, size(), devicePixelRatioF());
    }
    return region;
}

bool WheelView::dragMoved(QPointF viewPoint)
{
    setHighlightedIndex(petalIndexAt(viewPoint));
    return m_content.highlightedIndex.has_value();
}

void WheelView::dragLeft()
{
    setHighlightedIndex(std::nullopt);
}

DropTarget::Drop WheelView::dropAt(QPointF viewPoint)
{
    const std::optional<int> index = petalIndexAt(viewPoint);
    if (!index)
        return nullptr;
    return [this, petal = m_content.petals[static_cast<std::size_t>(*index)],
            without = fallbackURLs](const std::vector<std::filesystem::path>& files) {
        return drop(petal, files.empty() ? without : files);
    };
}

bool WheelView::drop(const WheelPetal& petal, const std::vector<std::filesystem::path>& files)
{
    if (!petal.isOfferedFor(files)) {
        qCInfo(wheelLog, "Refused %zu file(s) that %s is not for", files.size(), qUtf8Printable(petal.label()));
        return false;
    }
    m_didPerformDrop = true;
    qCInfo(wheelLog, "Dropped %zu file(s) on %s", files.size(), qUtf8Printable(petal.label()));
    scheduleActivation(petal, files);
    return true;
}

void WheelView::pressedBeside()
{
    Q_EMIT dismissed();
}

void WheelView::dragEnded(bool buttonStillDown)
{
    setHighlightedIndex(std::nullopt);
    if (std::exchange(m_didPerformDrop, false) || !buttonStillDown)
        return;
    qCInfo(wheelLog, "Drag cancelled with the button still down");
    Q_EMIT dragCancelled();
}

void WheelView::resizeEvent(QResizeEvent*)
{
    m_canvas->setGeometry(rect());
    repaintAll();
}

void WheelView::mouseMoveEvent(QMouseEvent* event)
{
    setHighlightedIndex(petalIndexAt(event->position()));
}

void WheelView::leaveEvent(QEvent*)
{
    setHighlightedIndex(std::nullopt);
}

void WheelView::mousePressEvent(QMouseEvent* event)
{
    if (event->button() != Qt::LeftButton)
        return;
    const std::optional<int> petal = petalIndexAt(event->position());
    if (petal && !fallbackURLs.empty())
        activate(*petal);
    else
        Q_EMIT dismissed();
}

void WheelView::keyPressEvent(QKeyEvent* event)
{
    modifiersChanged(*event);
    switch (event->key()) {
    case Qt::Key_Escape:
    case Qt::Key_Cancel:
        Q_EMIT dismissed();
        return;
    case Qt::Key_Right:
    case Qt::Key_Down:
        moveHighlight(1);
        return;
    case Qt::Key_Left:
    case Qt::Key_Up:
        moveHighlight(-1);
        return;
    case Qt::Key_Return:
    case Qt::Key_Enter:
    case Qt::Key_Space:
        if (m_content.highlightedIndex && !event->isAutoRepeat())
            activate(*m_content.highlightedIndex);
        return;
    default:
        QWidget::keyPressEvent(event);
    }
}

void WheelView::keyReleaseEvent(QKeyEvent* event)
{
    modifiersChanged(*event);
    QWidget::keyReleaseEvent(event);
}

void WheelView::focusInEvent(QFocusEvent* event)
{
    // Keys that were down before were not pressed for this wheel.
    m_lastFlags = modifierFlagsOf(QGuiApplication::queryKeyboardModifiers());
    QWidget::focusInEvent(event);
}

bool WheelView::focusNextPrevChild(bool next)
{
    moveHighlight(next ? 1 : -1);
    return true;
}

void WheelView::moveHighlight(int steps)
{
    const int count = m_content.layout.petalCount;
    if (count < 1)
        return;
    const int from = m_content.highlightedIndex.value_or(steps > 0 ? -1 : count);
    setHighlightedIndex((from + steps + count) % count);
}

void WheelView::modifiersChanged(const QKeyEvent& event)
{
    const ModifierFlags flags = modifierFlagsAfter(event) & relevantModifierFlags;
    const ModifierFlags pressed = flags & ~std::exchange(m_lastFlags, flags);
    if (isModifier(event) && pressed != 0)
        Q_EMIT modifiersTapped(pressed);
}

void WheelView::scheduleActivation(const WheelPetal& petal, std::vector<std::filesystem::path> files)
{
    QMetaObject::invokeMethod(
        this, [this, petal, chosen = std::move(files)] { Q_EMIT activated(petal, chosen); }, Qt::QueuedConnection);
}

void WheelView::repaintAll()
{
    m_canvas->update();
    Q_EMIT regionsChanged();
}

void WheelView::repaintHighlight()
{
    if (m_content.highlightedIndex)
        m_canvas->update(WheelDrawing::petalRect(m_content, *m_content.highlightedIndex, rect()));
    m_canvas->update(WheelCentre::capsuleRect(m_content, rect().toRectF().center()));
}

} // namespace Pelgra
