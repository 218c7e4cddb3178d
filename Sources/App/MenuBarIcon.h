#pragma once

#include <QColor>
#include <QIcon>
#include <QPixmap>
#include <QString>

class QPainter;
class QSystemTrayIcon;

/// The icon in the tray: a fruit with a leaf, in one colour.
namespace Pelgra::MenuBarIcon {

/// Side of the drawing, in its own units.
inline constexpr int side = 18;

/// What the icon is called for those who cannot see it.
QString description();

/// Draws into the square from (0, 0) to (18, 18) of the painter's coordinates, y pointing down. Clears a margin around
/// the leaf, so the painter must draw onto something transparent of its own.
void draw(QPainter& painter, const QColor& color);

/// The drawing at a size in logical pixels.
QPixmap pixmap(int size, const QColor& color, double devicePixelRatio = 1);

/// The icon of the theme that looks the same, in whatever colour the tray gives to symbols.
QString symbolicName();

/// A template image (QIcon::isMask) of any size. Where the theme has the symbolic icon, it carries that icon's name;
/// the tint is for trays that show it unchanged.
QIcon image(const QColor& tint);

/// The tint that stands out on the tray: the text colour of a panel.
QColor tintForTray();

/// Gives the tray's item its icon, now and with every change of the palette, for as long as it lives.
void showIn(QSystemTrayIcon& item);

} // namespace Pelgra::MenuBarIcon
