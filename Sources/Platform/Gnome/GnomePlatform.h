#pragma once

#include "Platform/Gnome/ExtensionDragSource.h"
#include "Platform/Gnome/ShortcutsPortal.h"
#include "Platform/Gnome/WheelCatcher.h"
#include "Platform/Gnome/XwaylandDrags.h"
#include "Platform/Platform.h"
#include "Platform/Sampling/CompositeDragSource.h"
#include "Platform/Sampling/DiscoveringDragSource.h"
#include "Platform/Sampling/TapSource.h"
#include "Platform/X11/X11Platform.h"

namespace Pelgra {

/// GNOME on Wayland: windows and drops through its X server, as X11 has them. What that server doesn't tell of drags of
/// native programs comes from the extension of GNOME Shell; without it, their beginning and files come from the server,
/// the tap from a shortcut of the desktop's, and the rest from the drag itself.
class GnomePlatform final : public Platform {
public:
    /// Null in other sessions, and where the toolkit doesn't run on X11.
    static std::unique_ptr<GnomePlatform> create();

    DragSource& dragSource() override { return m_dragSource; }
    WheelSurface& wheelSurface() override { return m_catcher; }
    bool hasTray() const override { return m_x11->hasTray(); }
    void setOutline(QWidget& window, const QPainterPath& outline) override { m_x11->setOutline(window, outline); }
    void setInputArea(QWidget& window, const QPainterPath& area) override { m_x11->setInputArea(window, area); }
    DesktopAbilities abilities() const override;
    void findPointer(std::function<void(QPoint)> found) override { m_catcher.findPointer(std::move(found)); }
    void tapped(ModifierFlags flags) override { m_taps.tap(flags); }
    void lookForDrag(ModifierFlags flags) override { m_taps.tap(flags); }
    void takeStep(DesktopAbilities::Step step) override;
    void useShortcuts() override { m_shortcuts.bind(); }

private:
    GnomePlatform(std::unique_ptr<X11Platform> x11, std::unique_ptr<XwaylandDrags> drags);

    std::unique_ptr<X11Platform> m_x11;
    std::unique_ptr<XwaylandDrags> m_drags;
    mutable ExtensionDragSource m_extension; ///< asks the shell when it is asked
    ShortcutsPortal m_shortcuts;
    TapSource m_taps;
    CompositeDragSource m_watched;
    WheelCatcher m_catcher;
    DiscoveringDragSource m_discovering;
    CompositeDragSource m_dragSource;
};

} // namespace Pelgra
