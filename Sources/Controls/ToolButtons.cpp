#include "Controls/ToolButtons.h"

#include "Controls/SecondaryLabel.h"
#include "Controls/Symbols.h"

#include <QKeyEvent>
#include <QPainter>

namespace Pelgra {

namespace {

constexpr QSize chevronSize(64, 26);
constexpr int chevronSymbolSize = 14;
constexpr double chevronRadius = 8;

void drawSymbol(QPainter& painter, const QRectF& area, const QString& name, int size, const QColor& color)
{
    const QPixmap pixmap = Symbols::pixmap(name, size, color, painter.device()->devicePixelRatioF());
    const QSizeF logical = QSizeF(pixmap.size()) / pixmap.devicePixelRatio();
    painter.drawPixmap(area.center() - QPointF(logical.width(), logical.height()) / 2, pixmap);
}

} // namespace

QColor primaryColor(const QWidget& widget, double opacity)
{
    QColor color = widget.palette().color(QPalette::Active, QPalette::WindowText);
    color.setAlphaF(static_cast<float>(opacity));
    return color;
}

QColor secondaryColor(const QWidget& widget)
{
    return SecondaryLabel::colorFor(widget);
}

bool showsFocus(const QWidget& widget)
{
    return widget.hasFocus() && widget.window()->testAttribute(Qt::WA_KeyboardFocusChange);
}

void drawFocusRing(QPainter& painter, const QRectF& rect, double radius, const QWidget& widget)
{
    painter.setBrush(Qt::NoBrush);
    painter.setPen(QPen(widget.palette().color(QPalette::Highlight), 2));
    painter.drawRoundedRect(rect.adjusted(1, 1, -1, -1), radius, radius);
}

ToolButton::ToolButton(QWidget* parent)
    : QAbstractButton(parent)
{
    setFocusPolicy(Qt::StrongFocus);
}

void ToolButton::keyPressEvent(QKeyEvent* event)
{
    switch (event->key()) {
    case Qt::Key_Left:
    case Qt::Key_Right:
    case Qt::Key_Up:
    case Qt::Key_Down:
        event->ignore(); // the toolkit would take them for Tab
        return;
    default:
        QAbstractButton::keyPressEvent(event);
    }
}

CircleIconButton::CircleIconButton(const QString& symbol, int symbolSize, int diameter, double fillOpacity,
                                   double foregroundOpacity, QWidget* parent)
    : ToolButton(parent)
    , m_symbol(symbol)
    , m_symbolSize(symbolSize)
    , m_fillOpacity(fillOpacity)
    , m_foregroundOpacity(foregroundOpacity)
{
    setFixedSize(diameter, diameter);
    setAttribute(Qt::WA_Hover);
}

void CircleIconButton::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QRectF circle(rect());
    const double strength = isEnabled() ? 1 : 0.4;
    const double hover = isEnabled() && underMouse() ? 0.04 : 0;
    painter.setPen(Qt::NoPen);
    painter.setBrush(primaryColor(*this, (m_fillOpacity + hover) * strength));
    painter.drawEllipse(circle);
    if (isDown()) {
        painter.setBrush(QColor(0, 0, 0, 31)); // black at 0.12
        painter.drawEllipse(circle);
    }
    drawSymbol(painter, circle, m_symbol, m_symbolSize, primaryColor(*this, m_foregroundOpacity * strength));
    if (showsFocus(*this))
        drawFocusRing(painter, circle, circle.height() / 2, *this);
}

ChevronButton::ChevronButton(const QString& symbol, QWidget* parent)
    : ToolButton(parent)
    , m_symbol(symbol)
{
    setFixedSize(chevronSize);
}

void ChevronButton::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QRectF area(rect());
    painter.setPen(Qt::NoPen);
    painter.setBrush(primaryColor(*this, !isEnabled() ? 0.035 : isDown() ? 0.16 : 0.08));
    painter.drawRoundedRect(area, chevronRadius, chevronRadius);
    drawSymbol(painter, area, m_symbol, chevronSymbolSize, primaryColor(*this, isEnabled() ? 0.8 : 0.22));
    if (showsFocus(*this))
        drawFocusRing(painter, area, chevronRadius, *this);
}

} // namespace Pelgra
