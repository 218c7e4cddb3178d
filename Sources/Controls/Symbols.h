#pragma once

#include <QColor>
#include <QPixmap>
#include <QString>

/// The symbols of petals and windows, one drawing each (data/symbols), in any colour.
namespace Pelgra::Symbols {

/// Whether there is a symbol of this name.
bool exists(const QString& name);

/// The symbol as a square of `pointSize` logical pixels in one colour, its alpha included; null for an unknown name.
/// Rendered once for each combination and then kept.
QPixmap pixmap(const QString& name, double pointSize, const QColor& color, double devicePixelRatio);

} // namespace Pelgra::Symbols
