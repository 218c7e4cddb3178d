#include "Platform/Platform.h"

#include "Platform/Gnome/GnomePlatform.h"
#include "Platform/Null/NullPlatform.h"
#include "Platform/PlatformChoice.h"
#include "Platform/Pointer.h"
#include "Platform/ShapePixels.h"
#include "Platform/X11/X11Platform.h"
#if PELGRA_LAYERS
#include "Platform/Wayland/CompositorOffer.h"
#include "Platform/Wayland/WaylandPlatform.h"
#endif

#include <QGuiApplication>
#include <QMenu>
#include <QPainterPath>
#include <QScreen>
#include <QWidget>
#include <QWindow>

namespace Pelgra {

namespace {

bool offersLayers()
{
#if PELGRA_LAYERS
    // A connection handed over by another program serves once, and the toolkit needs it.
    return !qEnvironmentVariableIsSet("WAYLAND_SOCKET") && compositorOffer().hasLayers;
#else
    return false;
#endif
}

} // namespace

bool Platform::chooseForToolkit()
{
    SessionOffer session;
    session.isChosen = !qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM");
    session.hasWayland = !qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY");
    session.hasX11 = !qEnvironmentVariableIsEmpty("DISPLAY");
    session.hasLayers = !session.isChosen && session.hasWayland && offersLayers();
    const std::string_view platforms = platformsFor(session);
    return !platforms.empty()
        && qputenv("QT_QPA_PLATFORM", QByteArray(platforms.data(), static_cast<qsizetype>(platforms.size())));
}

void Platform::place(QWidget& window, QRect geometry)
{
    window.setGeometry(geometry);
}

void Platform::placeAtEdge(QWidget& window, QSize size, int distance)
{
    const QScreen* const screen = QGuiApplication::primaryScreen();
    const QRect area = screen ? screen->availableGeometry() : QRect(QPoint(), size);
    const int x = area.x() + area.width() - distance - size.width();
    place(window, QRect(QPoint(x, area.center().y() - size.height() / 2), size));
}

void Platform::setInputArea(QWidget& window, const QPainterPath& area)
{
    if (QWindow* const native = window.windowHandle())
        native->setMask(pixelsOf(area, window.size(), 1)); // in logical pixels there
}

void Platform::findPointer(std::function<void(QPoint)> found)
{
    found(Pointer::place());
}

void Platform::popUp(QMenu& menu)
{
    menu.popup(Pointer::place());
}

void Platform::takeStep(DesktopAbilities::Step)
{
}

std::unique_ptr<Platform> Platform::forThisSession()
{
#if PELGRA_LAYERS
    if (std::unique_ptr<Platform> platform = WaylandPlatform::create())
        return platform;
#endif
    if (std::unique_ptr<Platform> platform = GnomePlatform::create())
        return platform;
    if (std::unique_ptr<Platform> platform = X11Platform::create())
        return platform;
    return std::make_unique<NullPlatform>();
}

} // namespace Pelgra
