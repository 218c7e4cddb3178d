#include "ToolWindows/Pages/PageCard.h"

#include "Controls/ToolButtons.h"
#include "Desktop/Motion.h"
#include "ToolWindows/ItemAccessibility.h"

#include <QKeyEvent>
#include <QPainter>

#include <cmath>
#include <optional>

namespace Pelgra {

namespace {

// Logical pixels.
constexpr int padding = 12;
constexpr int badgeHeight = 18;
constexpr int gap = 8;
constexpr int buttonDiameter = 32;
constexpr int badgePixels = 12;
constexpr double cornerRadius = 12;
constexpr double pageAspect = 1.3; // height to width of the frame that pages are fitted into
constexpr int turnMilliseconds = 220;
constexpr double dimmedOpacity = 0.35;

CircleIconButton* makeButton(const QString& symbol, int symbolSize, const QString& help, QWidget* parent)
{
    auto* const button = new CircleIconButton(symbol, symbolSize, buttonDiameter, 0.06, 0.8, parent);
    button->setToolTip(help);
    return button;
}

bool isDark(const QPalette& palette)
{
    return palette.color(QPalette::Window).lightness() < 128;
}

std::optional<PageCard::Direction> directionOf(int key)
{
    switch (key) {
    case Qt::Key_Left:
        return PageCard::Direction::left;
    case Qt::Key_Right:
        return PageCard::Direction::right;
    case Qt::Key_Up:
        return PageCard::Direction::up;
    case Qt::Key_Down:
        return PageCard::Direction::down;
    default:
        return std::nullopt;
    }
}

/// The factor that fits a size turned by an angle (degrees) into an area.
double fittingScale(QSizeF size, QSizeF area, double angle)
{
    const double radians = angle * M_PI / 180;
    const double cosine = std::abs(std::cos(radians));
    const double sine = std::abs(std::sin(radians));
    const double width = size.width() * cosine + size.height() * sine;
    const double height = size.width() * sine + size.height() * cosine;
    return std::min(area.width() / width, area.height() / height);
}

} // namespace

int PageCard::heightFor(int width)
{
    return padding + static_cast<int>(std::lround((width - 2 * padding) * pageAspect)) + gap + badgeHeight + gap
        + buttonDiameter + padding;
}

PageCard::PageCard(const PageEdit& edit, QWidget* parent)
    : QWidget(parent)
    , m_edit(edit)
    , m_spin(static_cast<double>(edit.rotation))
    , m_lastRotation(edit.rotation)
    , m_rotate(makeButton(QStringLiteral("rotate.right"), 15, QStringLiteral("Rotate clockwise"), this))
    , m_duplicate(makeButton(QStringLiteral("plus.square.on.square"), 13, QStringLiteral("Duplicate page"), this))
    , m_remove(makeButton(QStringLiteral("trash"), 13, QStringLiteral("Remove page"), this))
{
    setFocusPolicy(Qt::StrongFocus);
    m_turn.setDuration(turnMilliseconds);
    m_turn.setEasingCurve(QEasingCurve::InOutQuad);
    connect(&m_turn, &QVariantAnimation::valueChanged, this, [this](const QVariant& value) {
        m_spin = value.toDouble();
        update();
    });
    connect(&m_turn, &QVariantAnimation::finished, this, [this] { update(); });
    connect(m_rotate, &QAbstractButton::clicked, this, [this] { Q_EMIT rotateRequested(m_edit.id); });
    connect(m_duplicate, &QAbstractButton::clicked, this, [this] { Q_EMIT duplicateRequested(m_edit.id); });
    connect(m_remove, &QAbstractButton::clicked, this, [this] { Q_EMIT removeRequested(m_edit.id); });
}

void PageCard::setPage(const PageEdit& edit, int number, int total)
{
    m_edit = edit;
    turnTo(edit.rotation);
    m_number = number;
    m_total = total;
    setObjectName(QStringLiteral("page-%1").arg(number - 1));
    m_rotate->setObjectName(QStringLiteral("rotate-%1").arg(number - 1));
    m_duplicate->setObjectName(QStringLiteral("duplicate-%1").arg(number - 1));
    m_remove->setObjectName(QStringLiteral("remove-%1").arg(number - 1));
    m_remove->setVisible(total > 1);
    placeButtons();

    nameForReaders();
    update();
}

void PageCard::nameForReaders()
{
    const QString place = QStringLiteral("Page %1 of %2").arg(m_number).arg(m_total);
    const std::int64_t angle = m_edit.rotation % 360;
    const QString turned = angle == 0 ? QString() : QStringLiteral("turned by %1 degrees").arg(angle);
    setSpokenName(*this, turned.isEmpty() ? place : place + QStringLiteral(", ") + turned);
    setSpokenName(*m_rotate, QStringLiteral("Rotate page %1 clockwise").arg(m_number));
    setSpokenName(*m_duplicate, QStringLiteral("Duplicate page %1").arg(m_number));
    setSpokenName(*m_remove, QStringLiteral("Remove page %1").arg(m_number));
    // What a press has changed; read aloud on the button.
    setSpokenDescription(*m_rotate, turned.isEmpty() ? QStringLiteral("not turned") : turned);
    setSpokenDescription(*m_duplicate, place);
}

void PageCard::turnTo(std::int64_t rotation)
{
    if (rotation == m_lastRotation)
        return;
    // Always clockwise, by what is missing from the new rotation: from 270 to 0 is a quarter turn on, not three back.
    const std::int64_t turn = ((rotation - m_lastRotation) % 360 + 360) % 360;
    m_lastRotation = rotation;
    m_drawn = {};
    const double from = m_turn.state() == QAbstractAnimation::Running ? m_turn.endValue().toDouble() : m_spin;
    m_turn.stop();
    if (Motion::isReduced() || !isVisible()) {
        m_spin = from + static_cast<double>(turn);
        return;
    }
    m_turn.setStartValue(m_spin);
    m_turn.setEndValue(from + static_cast<double>(turn));
    m_turn.start();
}

void PageCard::setImage(const QImage& image)
{
    if (m_image.cacheKey() == image.cacheKey())
        return;
    m_image = image;
    m_drawn = {};
    update();
}

void PageCard::setDimmed(bool dimmed)
{
    if (m_isDimmed == dimmed)
        return;
    m_isDimmed = dimmed;
    update();
}

bool PageCard::showsRemoveButton() const
{
    return !m_remove->visibleRegion().isEmpty();
}

QRectF PageCard::imageArea() const
{
    const int inner = width() - 2 * padding;
    return QRectF(padding, padding, inner, std::round(inner * pageAspect));
}

void PageCard::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.setRenderHints(QPainter::Antialiasing | QPainter::SmoothPixmapTransform);
    if (m_isDimmed)
        painter.setOpacity(dimmedOpacity);
    const bool dark = isDark(palette());
    QColor surface = dark ? QColor(255, 255, 255, 16) : QColor(255, 255, 255, 235);
    if (m_isHovering)
        surface = dark ? QColor(255, 255, 255, 26) : QColor(255, 255, 255);
    painter.setPen(QPen(primaryColor(*this, m_isHovering ? 0.14 : 0.05), 1));
    painter.setBrush(surface);
    painter.drawRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), cornerRadius, cornerRadius);
    paintPage(painter);
    paintBadge(painter);
    if (showsFocus(*this))
        drawFocusRing(painter, QRectF(rect()), cornerRadius, *this);
}

void PageCard::paintPage(QPainter& painter)
{
    if (m_turn.state() == QAbstractAnimation::Running) {
        drawPage(painter, imageArea());
        return;
    }
    // Scrolling paints every card anew for each step, and scaling an image takes most of that.
    const QRectF frame = imageArea().adjusted(-1, -1, 1, 1); // with the outline
    if (m_drawn.isNull() || m_drawn.devicePixelRatio() != devicePixelRatioF()) {
        m_drawn = QPixmap((frame.size() * devicePixelRatioF()).toSize());
        m_drawn.setDevicePixelRatio(devicePixelRatioF());
        m_drawn.fill(Qt::transparent);
        QPainter page(&m_drawn);
        page.setRenderHints(painter.renderHints());
        drawPage(page, imageArea().translated(-frame.topLeft()));
    }
    painter.drawPixmap(frame.topLeft(), m_drawn);
}

void PageCard::drawPage(QPainter& painter, const QRectF& area) const
{
    const QSizeF size = m_image.isNull() ? QSizeF(210, 297) : QSizeF(m_image.size());
    const double scale = fittingScale(size, area.size(), m_spin);
    painter.save();
    painter.translate(area.center());
    painter.rotate(m_spin);
    const QRectF page(-size.width() * scale / 2, -size.height() * scale / 2, size.width() * scale,
                      size.height() * scale);
    if (m_image.isNull())
        painter.fillRect(page, primaryColor(*this, 0.06));
    else
        painter.drawImage(page, m_image);
    painter.setPen(QPen(primaryColor(*this, 0.14), 1));
    painter.setBrush(Qt::NoBrush);
    painter.drawRect(page);
    painter.restore();
}

void PageCard::paintBadge(QPainter& painter) const
{
    QFont shown = font();
    shown.setPixelSize(badgePixels);
    shown.setWeight(QFont::Medium);
    painter.setFont(shown);
    painter.setPen(secondaryColor(*this));
    const QRectF line(padding, imageArea().bottom() + gap, width() - 2 * padding, badgeHeight);
    painter.drawText(line, Qt::AlignCenter, QStringLiteral("Page %1 of %2").arg(m_number).arg(m_total));
}

void PageCard::resizeEvent(QResizeEvent* event)
{
    QWidget::resizeEvent(event);
    m_drawn = {};
    placeButtons();
}

void PageCard::placeButtons()
{
    const int top = height() - padding - buttonDiameter;
    const int count = m_remove->isHidden() ? 2 : 3;
    int left = (width() - count * buttonDiameter - (count - 1) * gap) / 2;
    for (CircleIconButton* button : {m_rotate, m_duplicate, m_remove}) {
        button->move(left, top);
        left += buttonDiameter + gap;
    }
}

void PageCard::keyPressEvent(QKeyEvent* event)
{
    window()->setAttribute(Qt::WA_KeyboardFocusChange); // a click may have brought the focus here, without a ring
    update();
    const Qt::KeyboardModifiers held = event->modifiers() & ~(Qt::KeypadModifier | Qt::GroupSwitchModifier);
    const bool moves = held.testFlag(Qt::AltModifier) || held.testFlag(Qt::ControlModifier);
    if (const auto direction = directionOf(event->key())) {
        if (moves)
            Q_EMIT moveRequested(m_edit.id, *direction);
        else
            Q_EMIT focusMoveRequested(m_edit.id, *direction);
    } else if (event->key() == Qt::Key_R && held == Qt::NoModifier) {
        Q_EMIT rotateRequested(m_edit.id);
    } else if (event->key() == Qt::Key_D && held == Qt::ControlModifier) {
        Q_EMIT duplicateRequested(m_edit.id);
    } else if (event->key() == Qt::Key_Delete && held == Qt::NoModifier) {
        Q_EMIT removeRequested(m_edit.id);
    } else {
        QWidget::keyPressEvent(event);
    }
}

void PageCard::enterEvent(QEnterEvent* event)
{
    QWidget::enterEvent(event);
    m_isHovering = true;
    update();
}

void PageCard::leaveEvent(QEvent* event)
{
    QWidget::leaveEvent(event);
    m_isHovering = false;
    update();
}

void PageCard::changeEvent(QEvent* event)
{
    QWidget::changeEvent(event);
    if (event->type() == QEvent::PaletteChange)
        m_drawn = {};
}

void PageCard::focusInEvent(QFocusEvent* event)
{
    QWidget::focusInEvent(event);
    update();
}

void PageCard::focusOutEvent(QFocusEvent* event)
{
    QWidget::focusOutEvent(event);
    update();
}

} // namespace Pelgra
