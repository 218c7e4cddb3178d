#include "Platform/Null/NullPlatform.h"

#include <QCursor>
#include <QGuiApplication>
#include <QTransform>
#include <QWidget>
#include <QWindow>

namespace Pelgra {

std::optional<QPoint> NullDragSource::pointer() const
{
    // Under Wayland the toolkit's answer is where the pointer was when it last was over a window of this process.
    if (QGuiApplication::platformName().startsWith(QLatin1String("wayland")))
        return std::nullopt;
    return QCursor::pos();
}

void NullWheelSurface::attach(QWidget* panel, DropTarget*)
{
    m_panel = panel;
    m_panel->winId();
}

void NullWheelSurface::detach()
{
    m_panel = nullptr;
}

void NullWheelSurface::setInputRegion(const QRegion& pixels)
{
    if (m_panel == nullptr || m_panel->windowHandle() == nullptr)
        return;
    const double scale = 1 / m_panel->devicePixelRatioF();
    // The widget's own mask would cut what it paints as well.
    m_panel->windowHandle()->setMask(QTransform::fromScale(scale, scale).map(pixels));
}

DesktopAbilities NullPlatform::abilities() const
{
    DesktopAbilities abilities;
    abilities.surfaces = "ordinary window";
    if (QGuiApplication::platformName().startsWith(QLatin1String("wayland")))
        abilities.missing = {"layer surfaces (zwlr_layer_shell_v1) of the compositor, or LayerShellQt in this build",
                             "an X server beside the compositor (Xwayland)"};
    return abilities;
}

} // namespace Pelgra
