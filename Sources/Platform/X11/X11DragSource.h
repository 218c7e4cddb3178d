#pragma once

#include "Platform/DragSource.h"
#include "Platform/X11/DraggedFilesReader.h"
#include "Platform/X11/ModifierMap.h"
#include "Platform/X11/XcbConnection.h"

#include <xcb/xfixes.h>

#include <chrono>
#include <functional>

namespace Pelgra {

/// Drags between the X11 clients of a display, seen from outside.
///
/// A drag begins when a client takes the XDND selection; the XFixes extension reports it even where the same window
/// takes it again. Button and modifiers come from a query of the pointer, which works during other clients' grabs.
/// A modifier tapped between two samples would be missed, so the XKB extension's report of the press is kept for the
/// next one. While a drag is under way raw key presses are watched too, for Escape.
class X11DragSource final : public DragSource {
public:
    /// `ownSetup` is that of the connection that this process drags with (Qt's), or null.
    X11DragSource(XcbConnection& connection, const xcb_setup_t* ownSetup);

    void refresh() override;
    std::int64_t changeCount() const override { return m_changeCount; }
    ButtonState primaryButton() const override { return m_buttonDown ? ButtonState::down : ButtonState::up; }
    ModifierFlags modifierFlags() const override { return m_flags; }
    ModifierFlags modifierFlagsNow() override;
    std::vector<std::filesystem::path> fileURLs() override;
    std::optional<QPoint> pointer() const override;

    /// Feeds one event of the connection.
    void handle(const xcb_generic_event_t& event);

    /// Whether something deserving a sample has happened since this was last asked.
    bool takeNews();

    /// Whether a drop that arrives now belongs to the current drag, or to one that ended a moment ago, and was not
    /// cancelled.
    bool acceptsDrops() const;

    /// The files of the current or the latest drag, as far as they were known before it ended.
    const std::vector<std::filesystem::path>& filesOfDrop() const { return m_latestFiles; }

    /// Called before onCancelled, for the surface.
    std::function<void()> beforeCancelled;

    /// Whose drags are none of the X11 clients’, by the window that owns them; null for nobody's.
    std::function<bool(xcb_window_t owner)> isForeign;

    /// Called by refresh() between asking and reporting, to empty the connection's queue. Must be set.
    std::function<void()> drain;

private:
    XcbOwned<xcb_query_pointer_reply_t> queryPointer() const;
    void takeSample();
    void watchAlways();
    void watchTheDrag(bool watch);
    void resolveKeyboard();
    void dragBegan(const xcb_xfixes_selection_notify_event_t& event);
    void dragEnded();
    void cancelDrag();
    void handleKeyboard(const xcb_generic_event_t& event);
    void handleInput(const xcb_generic_event_t& event);

    XcbConnection& m_connection;
    const xcb_setup_t* m_ownSetup;
    DraggedFilesReader m_reader;

    std::int64_t m_changeCount = 0;
    bool m_buttonDown = false;
    ModifierFlags m_flags = 0;

    ModifierMap m_modifierMap;
    std::vector<std::uint8_t> m_escapeKeycodes;
    bool m_keyboardChanged = true;
    unsigned m_latestModifiers = 0; ///< X modifier mask of the latest XKB report
    unsigned m_pressedSinceSample = 0; ///< X modifier bits

    bool m_isDragging = false;
    bool m_isCancelled = false;
    bool m_isOwnerGone = false;
    bool m_hasNews = false;
    std::vector<std::filesystem::path> m_latestFiles;
    std::chrono::steady_clock::time_point m_buttonReleased;
};

} // namespace Pelgra
