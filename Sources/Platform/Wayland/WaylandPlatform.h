#pragma once

#include "Platform/Null/NullPlatform.h"
#include "Platform/Platform.h"
#include "Platform/Sampling/CompositeDragSource.h"
#include "Platform/Sampling/DiscoveringDragSource.h"
#include "Platform/Sampling/TapSource.h"
#include "Platform/Wayland/CompositorOffer.h"
#include "Platform/Wayland/KeyStateSource.h"
#include "Platform/Wayland/LayerStage.h"
#include "Platform/Wayland/ShortcutPause.h"
#include "Platform/Wayland/XwaylandWatcher.h"

namespace Pelgra {

/// The desktop through a Wayland compositor with layer surfaces. That a drag has begun, and the keys, come from the X
/// server beside it; everything else from the drag itself.
class WaylandPlatform final : public Platform {
public:
    /// Null unless the toolkit runs on Wayland, on a compositor with layer surfaces.
    static std::unique_ptr<WaylandPlatform> create();

    DragSource& dragSource() override { return m_dragSource; }
    WheelSurface& wheelSurface() override { return m_stage; }
    bool hasTray() const override { return false; }
    void setOutline(QWidget&, const QPainterPath&) override { } // windows are translucent, and get no shadow
    DesktopAbilities abilities() const override;
    void place(QWidget& window, QRect geometry) override;
    void placeAtEdge(QWidget& window, QSize size, int distance) override;
    void findPointer(std::function<void(QPoint)> found) override { m_stage.findPointer(std::move(found)); }
    void popUp(QMenu& menu) override { m_stage.popUp(menu); }
    void tapped(ModifierFlags flags) override;
    void lookForDrag(ModifierFlags flags) override { m_taps.tap(flags); }

private:
    explicit WaylandPlatform(CompositorOffer offer);
    std::vector<DragSource*> watchers();
    void keepLauncherShut();

    NullDragSource m_nobody;
    TapSource m_taps;
    bool m_hasBindings = false; ///< of the compositor: one of them has tapped
    std::unique_ptr<KeyStateSource> m_keyState; ///< null where KWin does not trust this program
    std::unique_ptr<XwaylandWatcher> m_xwayland; ///< null without Xwayland
    CompositeDragSource m_watched;
    LayerStage m_stage;
    DiscoveringDragSource m_dragSource;
    ShortcutPause m_pause;
};

} // namespace Pelgra
