#pragma once

#include "Platform/DesktopAbilities.h"
#include "Platform/DragSource.h"
#include "Platform/WheelSurface.h"

#include <QRect>
#include <QSize>

#include <functional>
#include <memory>

class QMenu;
class QPainterPath;
class QWidget;

namespace Pelgra {

/// The desktop as Pelgra needs it, for the session that the process runs in. Created after the QApplication and
/// destroyed before it; owns what it hands out. Main thread.
class Platform {
public:
    Platform() = default;
    Platform(const Platform&) = delete;
    Platform& operator=(const Platform&) = delete;
    virtual ~Platform() = default;

    /// Names the toolkit's platform for this session in the environment, unless the user has. To be called before the
    /// QApplication is made; whether it named one.
    static bool chooseForToolkit();

    /// The one place that chooses: X11 where Qt runs on it, else a platform on which no drag is ever seen.
    static std::unique_ptr<Platform> forThisSession();

    virtual DragSource& dragSource() = 0;
    virtual WheelSurface& wheelSurface() = 0;

    /// Whether the window system itself offers a tray for icons (trays on the session bus are found there).
    virtual bool hasTray() const = 0;

    /// Tells the window system the outline of a window that draws its own, in logical pixels of the window: what is
    /// outside is cut off where nothing composites; where something does, it is asked not to draw the shadow of a
    /// rectangle. To be told again when the window is shown, changes its size or its scale, or compositing comes or
    /// goes.
    virtual void setOutline(QWidget& window, const QPainterPath& outline) = 0;

    /// What works here.
    virtual DesktopAbilities abilities() const = 0;

    /// Where a small window of ours goes, shown or not: to this place above all windows, for which it asks no focus.
    /// The geometry is in Qt's global logical coordinates.
    virtual void place(QWidget& window, QRect geometry);

    /// The same so far from the right edge of the screen, for windows that belong near a pointer whose place is not
    /// told: of the screen that has it, where the desktop sees to that, else of the main one.
    virtual void placeAtEdge(QWidget& window, QSize size, int distance);

    /// Which part of a small window of ours pointer and drags hit, in its logical pixels; the rest belongs to what lies
    /// below. To be told again when the window is shown.
    virtual void setInputArea(QWidget& window, const QPainterPath& area);

    /// Calls back once with the place of the pointer, at once where it is known; else the desktop is asked, which may
    /// take a moment. A place in the middle of a screen when there is no answer.
    virtual void findPointer(std::function<void(QPoint)> found);

    /// Opens a menu at the pointer, for a click that no window of ours got: one on the tray.
    virtual void popUp(QMenu& menu);

    /// Keys that open a wheel were tapped, as somebody else saw it, such as a key binding of the compositor.
    virtual void tapped(ModifierFlags) { }

    /// A wheel is wanted for the drag under way, where that has to be looked for: as after tapped(), but by no key.
    virtual void lookForDrag(ModifierFlags) { }

    /// Does what abilities() proposes, as far as a program can.
    virtual void takeStep(DesktopAbilities::Step step);

    /// Asks for the shortcuts that the user once agreed to, silently.
    virtual void useShortcuts() { }

    /// A shortcut of the desktop's was pressed that stands for the key of a wheel.
    std::function<void(bool isForTools)> onShortcut;

    /// The desktop has answered to useShortcuts() or to the step for it: whether it gave any.
    std::function<void(bool areGiven)> onShortcutsAnswered;

    /// abilities() may have changed.
    std::function<void()> onAbilitiesChanged;

    /// hasTray() may have changed.
    std::function<void()> onTrayChanged;
};

} // namespace Pelgra
