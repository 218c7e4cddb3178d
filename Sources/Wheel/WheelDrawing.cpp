#include "Wheel/WheelDrawing.h"

#include "Controls/SoftShadow.h"
#include "Controls/Symbols.h"
#include "Support/Brand.h"
#include "Wheel/WheelCentre.h"

#include <QFontMetricsF>
#include <QGuiApplication>
#include <QLinearGradient>
#include <QPainter>
#include <QRadialGradient>

#include <cmath>

namespace Pelgra::WheelDrawing {

namespace {

QColor white(double alpha)
{
    return QColor::fromRgbF(1, 1, 1, static_cast<float>(alpha));
}

QColor black(double alpha)
{
    return QColor::fromRgbF(0, 0, 0, static_cast<float>(alpha));
}

QColor withAlpha(QColor color, double alpha)
{
    color.setAlphaF(static_cast<float>(alpha));
    return color;
}

/// The frost under the ring: light enough for black text over any desktop, a good deal darker than the petals, so that
/// they stand apart on a white one. Where nothing shines through it is the whole background.
QColor frost(bool isCompositing)
{
    return QColor::fromRgbF(0.80F, 0.82F, 0.85F, isCompositing ? 0.86F : 1.0F);
}

/// Along the edge of a window that is cut to its shape; without, the cut would look like a fault.
QPen hardEdge()
{
    return {QColor(140, 146, 158), 3};
}

/// A soft shadow outside the ring and, fainter, in its hole; it ends at the edge of the view.
void paintRingShadow(QPainter& painter, const WheelLayout& layout, QPointF center, double viewRadius)
{
    const double outer = layout.outerRadius + layout.ringPadding;
    const double inner = layout.innerRadius - layout.ringPadding;
    const double reach = viewRadius - outer;
    const auto falloff = [&](QRadialGradient& gradient, double from, double to, double strength) {
        for (double t : {0.0, 0.15, 0.35, 0.6, 1.0})
            gradient.setColorAt((from + (to - from) * t) / viewRadius, black(strength * (1 - t) * (1 - t)));
    };
    QRadialGradient outside(center, viewRadius);
    outside.setColorAt(0, Qt::transparent);
    falloff(outside, outer - 0.5, outer + reach, 0.22);
    QPainterPath around;
    around.addEllipse(center, viewRadius, viewRadius);
    around.addEllipse(center, outer, outer);
    painter.fillPath(around, outside);
    if (inner <= reach)
        return;
    QRadialGradient inside(center, viewRadius);
    falloff(inside, inner + 0.5, inner - reach, 0.16);
    QPainterPath hole;
    hole.addEllipse(center, inner, inner);
    painter.fillPath(hole, inside);
}

void paintRing(QPainter& painter, const WheelLayout& layout, bool isCompositing)
{
    painter.fillPath(layout.ringPath(), white(0.14));
    if (!isCompositing)
        return; // the backdrop's line is the edge; a soft one on top of it would make dots where the shape cuts both
    const double radius = layout.outerRadius + layout.ringPadding - 0.5;
    painter.setPen(QPen(white(0.45), 1));
    painter.setBrush(Qt::NoBrush);
    painter.drawEllipse(QPointF(0, 0), radius, radius);
}

QLinearGradient petalGradient(const WheelLayout& layout, int petal, bool isHighlighted)
{
    QLinearGradient gradient(layout.pointOnAxis(petal, layout.innerRadius),
                             layout.pointOnAxis(petal, layout.outerRadius));
    if (isHighlighted) {
        gradient.setColorAt(0, white(0.96));
        gradient.setColorAt(0.55, white(0.9));
        gradient.setColorAt(1, white(0.94));
    } else {
        gradient.setColorAt(0, white(0.74));
        gradient.setColorAt(0.55, QColor::fromRgbF(0.953F, 0.965F, 0.969F, 0.58F));
        gradient.setColorAt(1, QColor::fromRgbF(0.957F, 0.965F, 0.965F, 0.68F));
    }
    return gradient;
}

/// Origin in the wheel's centre, y up.
void paintPetal(QPainter& painter, const WheelLayout& layout, int petal, bool isHighlighted)
{
    const QPainterPath outline = layout.pathForPetal(petal);
    painter.fillPath(outline, petalGradient(layout, petal, isHighlighted));
    const QColor wash = isHighlighted ? withAlpha(Brand::orange, 0.2) : withAlpha(tintForPetal(petal, layout), 0.22);
    painter.fillPath(outline, wash);
    const QPen pen = isHighlighted ? QPen(withAlpha(Brand::orange, 0.35), 1.5) : QPen(white(0.55), 0.75);
    painter.strokePath(outline, pen);
}

/// The nearest point at which a picture can be drawn without being resampled.
QPointF onDevicePixels(QPointF point, double scale)
{
    return {std::round(point.x() * scale) / scale, std::round(point.y() * scale) / scale};
}

QFont largestLabelFont()
{
    return systemFont(17, QFont::Bold, 0.6);
}

/// A symbol above a line of text, both together centred on a point.
void paintSymbolAndText(QPainter& painter, const QPixmap& symbol, double gap, const QString& text, const QFont& font,
                        const QColor& color, QPointF center)
{
    const double scale = painter.device()->devicePixelRatioF();
    const QSizeF symbolSize = symbol.deviceIndependentSize();
    const double textHeight = textSize(text, font).height();
    const double top = center.y() - (symbolSize.height() + gap + textHeight) / 2;
    painter.drawPixmap(onDevicePixels({center.x() - symbolSize.width() / 2, top}, scale), symbol);
    paintCentredText(painter, text, font, color, {center.x(), top + symbolSize.height() + gap + textHeight / 2});
}

void paintLabel(QPainter& painter, const WheelPetal& petal, QPointF center, bool isDense, bool isHighlighted)
{
    const QColor color = black(isHighlighted ? 1 : 0.86);
    const std::optional<QString> symbolName = petal.symbolName();
    if (!symbolName) {
        paintCentredText(painter, petal.label(), isDense ? systemFont(14, QFont::Bold, 0.6) : largestLabelFont(), color,
                         center);
        return;
    }
    constexpr double gap = 5;
    const QFont font = systemFont(isDense ? 10 : 11, QFont::DemiBold, 1);
    const double scale = painter.device()->devicePixelRatioF();
    const QPixmap symbol = Symbols::pixmap(*symbolName, isDense ? 17 : 20, color, scale);
    if (symbol.isNull()) {
        paintCentredText(painter, petal.label(), font, color, center);
        return;
    }
    paintSymbolAndText(painter, symbol, gap, petal.label(), font, color, center);
}

QFont emptyMessageFont()
{
    return systemFont(13, QFont::Normal, 0);
}

void paintEmptyWheel(QPainter& painter, const QString& message, QPointF center)
{
    const QRectF capsule = emptyLabelRect(message, center);
    painter.setBrush(white(0.72));
    painter.setPen(QPen(white(0.8), 0.75));
    painter.drawRoundedRect(capsule, capsule.height() / 2, capsule.height() / 2);
    paintCentredText(painter, message, emptyMessageFont(), black(0.86), center);
}

} // namespace

QFont systemFont(double pixels, int weight, double letterSpacing)
{
    QFont font = QGuiApplication::font();
    font.setPixelSize(qRound(pixels));
    font.setWeight(QFont::Weight(weight));
    font.setLetterSpacing(QFont::AbsoluteSpacing, letterSpacing);
    return font;
}

QSizeF textSize(const QString& text, const QFont& font)
{
    const QFontMetricsF metrics(font);
    return {metrics.horizontalAdvance(text), metrics.ascent() + metrics.descent()};
}

void paintCentredText(QPainter& painter, const QString& text, const QFont& font, const QColor& color, QPointF center)
{
    const QFontMetricsF metrics(font);
    const QSizeF size = textSize(text, font);
    painter.setFont(font);
    painter.setPen(color);
    painter.drawText(QPointF(center.x() - size.width() / 2, center.y() - size.height() / 2 + metrics.ascent()), text);
}

QColor tintForPetal(int petal, const WheelLayout& layout)
{
    const double share = (1 - std::cos(layout.step() * petal)) / 2;
    const auto between = [share](double from, double to) {
        return static_cast<float>(from + (to - from) * share);
    };
    return QColor::fromRgbF(between(1, 0.86), between(0.86, 0.85), between(0.8, 0.98));
}

QRectF emptyLabelRect(const QString& message, QPointF center)
{
    const double width = std::ceil(textSize(message, emptyMessageFont()).width()) + 36;
    return {center.x() - width / 2, center.y() - 20, width, 40};
}

QPainterPath activePath(const WheelContent& content, const QRectF& bounds)
{
    if (!content.petals.empty())
        return wheelToView(bounds).map(content.layout.ringPath());
    const QRectF capsule = emptyLabelRect(content.emptyMessage, bounds.center());
    QPainterPath path;
    path.addRoundedRect(capsule, capsule.height() / 2, capsule.height() / 2);
    return path;
}

void paintBackdrop(QPainter& painter, const WheelContent& content, const QRectF& bounds)
{
    painter.setRenderHint(QPainter::Antialiasing);
    if (content.isCompositing) {
        if (content.petals.empty()) {
            const QRectF capsule = emptyLabelRect(content.emptyMessage, bounds.center());
            SoftShadow{black(0.25), {0, 2}, 12}.paint(painter, capsule, capsule.height() / 2);
        } else {
            paintRingShadow(painter, content.layout, bounds.center(), bounds.width() / 2);
        }
        painter.fillPath(activePath(content, bounds), frost(true));
    } else {
        // The window's shape cuts this down to what the wheel covers.
        painter.fillRect(bounds, frost(false));
        painter.strokePath(activePath(content, bounds), hardEdge());
    }
}

QRect petalRect(const WheelContent& content, int petal, const QRectF& bounds)
{
    const QTransform toView = wheelToView(bounds);
    const QRectF outline = toView.map(content.layout.pathForPetal(petal)).boundingRect();
    // Labels of narrow petals may overhang their sides.
    const QPointF label = toView.map(content.layout.labelPoint(petal));
    const double width = textSize(content.petals[static_cast<std::size_t>(petal)].label(), largestLabelFont()).width();
    const QRectF text(label.x() - width / 2, label.y() - 2, width, 4);
    return outline.united(text).adjusted(-2, -2, 2, 2).toAlignedRect();
}

void paintWheel(QPainter& painter, const WheelContent& content, const QRectF& bounds, const QRect& dirty)
{
    painter.setRenderHints(QPainter::Antialiasing | QPainter::TextAntialiasing | QPainter::SmoothPixmapTransform);
    if (content.petals.empty()) {
        paintEmptyWheel(painter, content.emptyMessage, bounds.center());
        return;
    }
    const WheelLayout& layout = content.layout;
    const QTransform toView = wheelToView(bounds);
    std::vector<int> dirtyPetals;
    for (int petal = 0; petal < layout.petalCount; ++petal) {
        if (petalRect(content, petal, bounds).intersects(dirty))
            dirtyPetals.push_back(petal);
    }
    painter.save();
    painter.setTransform(toView, true);
    paintRing(painter, layout, content.isCompositing);
    for (int petal : dirtyPetals)
        paintPetal(painter, layout, petal, petal == content.highlightedIndex);
    painter.restore();
    for (int petal : dirtyPetals) {
        paintLabel(painter, content.petals[static_cast<std::size_t>(petal)], toView.map(layout.labelPoint(petal)),
                   layout.isDense(), petal == content.highlightedIndex);
    }
    WheelCentre::paint(painter, content, bounds.center());
}

void paintTarget(QPainter& painter, WheelKind kind, const QRectF& circle, bool isCompositing)
{
    painter.setRenderHints(QPainter::Antialiasing | QPainter::TextAntialiasing | QPainter::SmoothPixmapTransform);
    const bool isConvert = kind == WheelKind::convert;
    QPainterPath outline;
    outline.addEllipse(circle);
    if (isCompositing)
        SoftShadow{black(0.25), {0, 1.5}, 8}.paint(painter, circle, circle.width() / 2);
    painter.fillPath(outline, frost(isCompositing));
    QLinearGradient shine(circle.topLeft(), circle.bottomLeft());
    shine.setColorAt(0, white(0.74));
    shine.setColorAt(1, white(0.62));
    painter.fillPath(outline, shine);
    const QColor tint = isConvert ? QColor::fromRgbF(1, 0.86F, 0.8F) : QColor::fromRgbF(0.86F, 0.85F, 0.98F);
    painter.fillPath(outline, withAlpha(tint, 0.3));
    painter.setPen(isCompositing ? QPen(white(0.7), 1) : hardEdge());
    painter.setBrush(Qt::NoBrush);
    painter.drawEllipse(circle.adjusted(0.5, 0.5, -0.5, -0.5));

    const QColor ink = black(0.86);
    const QString name = isConvert ? QStringLiteral("arrow.left.arrow.right") : QStringLiteral("doc.richtext");
    paintSymbolAndText(painter, Symbols::pixmap(name, 20, ink, painter.device()->devicePixelRatioF()), 3,
                       isConvert ? QStringLiteral("CONVERT") : QStringLiteral("TOOLS"),
                       systemFont(9, QFont::DemiBold, 0.3), ink, circle.center());
}

} // namespace Pelgra::WheelDrawing
