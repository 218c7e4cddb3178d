#pragma once

#include "Wheel/WheelContent.h"
#include "Wheel/WheelKind.h"

#include <QColor>
#include <QPainterPath>
#include <QPointF>
#include <QRectF>
#include <QString>

class QFont;
class QPainter;

/// The wheel's picture. Everything is painted in view coordinates (logical pixels, y down) around the middle of
/// `bounds`.
namespace Pelgra::WheelDrawing {

/// What stands in for a blur of the desktop: a frosted ring (or capsule, for an empty wheel) with a soft shadow.
void paintBackdrop(QPainter& painter, const WheelContent& content, const QRectF& bounds);

/// Ring, petals, labels and centre, or the message of an empty wheel. Petals outside `dirty` are left out.
void paintWheel(QPainter& painter, const WheelContent& content, const QRectF& bounds, const QRect& dirty);

/// Where a petal and its label are painted.
QRect petalRect(const WheelContent& content, int petal, const QRectF& bounds);

/// The tint of a petal before its alpha: from a warm tone at the top to a cool one at the bottom.
QColor tintForPetal(int petal, const WheelLayout& layout);

/// The capsule around the message of an empty wheel.
QRectF emptyLabelRect(const QString& message, QPointF center);

/// The part of the view that belongs to the wheel: the ring, or the capsule of an empty wheel. Elsewhere pointer and
/// drags go to the windows below.
QPainterPath activePath(const WheelContent& content, const QRectF& bounds);

/// A target that opens this wheel, painted like a petal, with its shadow around the circle. Where nothing composites
/// the window is cut to the circle.
void paintTarget(QPainter& painter, WheelKind kind, const QRectF& circle, bool isCompositing);

/// One line of text, centred on a point.
void paintCentredText(QPainter& painter, const QString& text, const QFont& font, const QColor& color, QPointF center);
QSizeF textSize(const QString& text, const QFont& font);

/// The desktop's font at a size in logical pixels.
QFont systemFont(double pixels, int weight, double letterSpacing);

} // namespace Pelgra::WheelDrawing
