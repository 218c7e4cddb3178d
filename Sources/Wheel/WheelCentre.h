#pragma once

#include "Wheel/WheelContent.h"

#include <QPainterPath>
#include <QPointF>
#include <QRect>

#include <vector>

class QPainter;

/// What stands in the hole of the ring: the dragged files as small cards, and the capsule that shows their size or
/// number, or names the petal under the pointer. View coordinates, y down.
namespace Pelgra::WheelCentre {

void paint(QPainter& painter, const WheelContent& content, QPointF center);

/// Where the capsule is painted, its shadow included; empty while there is none.
QRect capsuleRect(const WheelContent& content, QPointF center);

/// The outlines of all that paint() fills, shadows left out. They overlap.
std::vector<QPainterPath> outlines(const WheelContent& content, QPointF center);

} // namespace Pelgra::WheelCentre
