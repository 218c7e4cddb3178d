#pragma once

#include "Wheel/WheelKind.h"

#include <QRect>
#include <QSize>

#include <cstddef>
#include <filesystem>
#include <optional>
#include <span>
#include <vector>

/// The rules of the targets that open a wheel without a key: which of them there are for a drag, where they go, and
/// when it has left them behind. Logical pixels of the desktop, y down.
namespace Pelgra::TargetRules {

constexpr int diameter = 60; ///< of a target
constexpr int surroundings = 8; ///< room for its shadow, on all sides

/// From the edges of the screen to the surroundings: nearer to them the wheel could not open around the pointer, which
/// would be on a petal before anybody has chosen one.
constexpr int fromEdge = 97;

/// The wheels that have petals for these files, conversions first.
std::vector<WheelKind> kindsFor(std::span<const std::filesystem::path> files);

/// So many targets with their surroundings, in a row or a column.
QSize sizeOf(std::size_t count, bool isColumn);

/// A place near the pointer, but never under it: above it where there is room, else below, right or left of it. Inside
/// the area, as far from its edges as they must be; nothing where it is too small for that.
std::optional<QRect> besidePointer(QPoint pointer, QSize size, const QRect& area);

/// Whether the pointer is so far from the targets that the drag is not meant for them.
bool isWellAway(QPoint pointer, const QRect& targets);

} // namespace Pelgra::TargetRules
