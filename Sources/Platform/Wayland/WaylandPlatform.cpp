#include "Platform/Wayland/WaylandPlatform.h"

#include "Platform/Wayland/CompositorOffer.h"

#include <LayerShellQt/Window>

#include <QGuiApplication>
#include <QScreen>
#include <QSettings>
#include <QStandardPaths>
#include <QWindow>

#include <chrono>

namespace Pelgra {

namespace {

DragDiscovery::Time now()
{
    return std::chrono::duration_cast<DragDiscovery::Time>(std::chrono::steady_clock::now().time_since_epoch());
}

/// KWin shows X11 programs the modifiers unless the user has said no.
bool isToldToHideKeys()
{
    const QString file = QStandardPaths::locate(QStandardPaths::GenericConfigLocation, QStringLiteral("kwinrc"));
    const QSettings settings(file, QSettings::IniFormat);
    return settings.value(QStringLiteral("Xwayland/XwaylandEavesdrops")).toString() == QLatin1String("None");
}

} // namespace

std::unique_ptr<WaylandPlatform> WaylandPlatform::create()
{
    if (!QGuiApplication::platformName().startsWith(QLatin1String("wayland")))
        return nullptr;
    const CompositorOffer offer = compositorOffer();
    return offer.hasLayers ? std::unique_ptr<WaylandPlatform>(new WaylandPlatform(offer)) : nullptr;
}

WaylandPlatform::WaylandPlatform(CompositorOffer offer)
    : m_keyState(offer.hasKeyState ? std::make_unique<KeyStateSource>() : nullptr)
    , m_xwayland(XwaylandWatcher::create())
    , m_watched(watchers())
    , m_dragSource(m_watched, m_stage, now)
    , m_pause([this] { return (m_watched.modifierFlags() & commandFlag) != 0; })
{
    if (m_xwayland)
        m_xwayland->setNeedsFocus(compositorName() == "sway");
    m_stage.isShiftHeld = [this] {
        return (m_watched.modifierFlags() & shiftFlag) != 0;
    };
    if (compositorName().starts_with("kwin"))
        keepLauncherShut();
}

void WaylandPlatform::keepLauncherShut()
{
    m_dragSource.onPressed = [this](ModifierFlags flags) {
        if ((flags & commandFlag) != 0)
            m_pause.begin();
    };
    // The end of a drag is not seen everywhere: without one the key is the launcher's, which opens when it goes up.
    m_dragSource.onNothingFound = [this] {
        m_pause.end();
    };
}

std::vector<DragSource*> WaylandPlatform::watchers()
{
    std::vector<DragSource*> all{&m_nobody, &m_taps}; // where nobody else tells
    if (m_xwayland)
        all.push_back(m_xwayland.get());
    if (m_keyState)
        all.push_back(m_keyState.get());
    return all;
}

DesktopAbilities WaylandPlatform::abilities() const
{
    DesktopAbilities abilities;
    abilities.compositor = compositorName();
    abilities.surfaces = "layer surface";
    abilities.seesDrags = m_xwayland != nullptr;
    abilities.seesFiles = false;
    abilities.seesPointer = false;
    // Others than KWin keep the keys of their own programs from the X server.
    const bool couldShowKeys = m_xwayland && m_xwayland->canSeeKeys() && abilities.compositor.starts_with("kwin");
    const bool showsKeys = couldShowKeys && !isToldToHideKeys();
    abilities.seesKeys = showsKeys || m_keyState || m_hasBindings;
    if (m_xwayland)
        abilities.sources.emplace_back(showsKeys ? "Xwayland (beginnings and keys)" : "Xwayland (beginnings)");
    else
        abilities.missing.emplace_back("an X server beside the compositor (Xwayland)");
    if (m_keyState)
        abilities.sources.emplace_back("key state of KWin");
    if (m_hasBindings)
        abilities.sources.emplace_back("key bindings of the compositor");
    if (!abilities.seesKeys && couldShowKeys) {
        abilities.missing.emplace_back("leave for X11 programs to see the keys");
        abilities.step = DesktopAbilities::Step::showKeysToX11;
    } else if (!abilities.seesKeys) {
        abilities.missing.emplace_back("key bindings of the compositor for “pelgra tap”");
        abilities.step = DesktopAbilities::Step::bindKeys;
    }
    return abilities;
}

void WaylandPlatform::place(QWidget& window, QRect geometry)
{
    QScreen* screen = QGuiApplication::screenAt(geometry.center());
    if (!screen)
        screen = QGuiApplication::primaryScreen();
    window.winId();
    window.windowHandle()->setScreen(screen);
    auto* const layer = LayerShellQt::Window::get(window.windowHandle());
    layer->setLayer(LayerShellQt::Window::LayerOverlay);
    layer->setAnchors({LayerShellQt::Window::AnchorTop, LayerShellQt::Window::AnchorLeft});
    layer->setExclusiveZone(-1);
    layer->setKeyboardInteractivity(LayerShellQt::Window::KeyboardInteractivityNone);
    layer->setScope(QStringLiteral("pelgra-panel"));
    const QPoint corner = geometry.topLeft() - screen->geometry().topLeft();
    layer->setMargins({corner.x(), corner.y(), 0, 0});
    window.resize(geometry.size());
}

void WaylandPlatform::tapped(ModifierFlags flags)
{
    m_hasBindings = true;
    m_taps.tap(flags);
}

void WaylandPlatform::placeAtEdge(QWidget& window, QSize size, int distance)
{
    window.resize(size);
    window.winId();
    auto* const layer = LayerShellQt::Window::get(window.windowHandle());
    layer->setLayer(LayerShellQt::Window::LayerOverlay);
    layer->setAnchors(LayerShellQt::Window::AnchorRight);
    layer->setMargins({0, 0, distance, 0});
    layer->setExclusiveZone(0); // counted from the panels of the desktop
    layer->setKeyboardInteractivity(LayerShellQt::Window::KeyboardInteractivityNone);
    layer->setScope(QStringLiteral("pelgra-targets"));
    layer->setScreenConfiguration(LayerShellQt::Window::ScreenFromCompositor);
    layer->setCloseOnDismissed(false);
}

} // namespace Pelgra
