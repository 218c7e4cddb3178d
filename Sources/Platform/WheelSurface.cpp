#include "Platform/WheelSurface.h"

#include <QGuiApplication>
#include <QScreen>
#include <QWidget>
#include <QWindow>

namespace Pelgra {

void WheelSurface::place(QWidget& panel, QPoint origin)
{
    QWindow* const window = panel.windowHandle();
    QScreen* const screen = QGuiApplication::screenAt(QRect(origin, panel.size()).center());
    // Told to its screen first: under Qt 6.8 a window that a move alone brings to a screen of twice the scale comes out
    // half as large, beside its place.
    if (window)
        window->setScreen(screen ? screen : QGuiApplication::primaryScreen());
    panel.move(origin);
    // Even where that changes nothing, as in the first corner of the desktop: a window that nobody has placed is placed
    // by the window manager.
    if (window)
        window->setPosition(origin);
}

} // namespace Pelgra
