#pragma once

#include <QPoint>
#include <QPointF>
#include <QRegion>

#include <filesystem>
#include <functional>
#include <vector>

class QWidget;

namespace Pelgra {

/// Where a surface delivers drags from other applications; the wheel's view implements it. Main thread. Points are
/// logical pixels from the top-left corner of the attached widget, y down. Calls may come up to half a second after the
/// widget was hidden: the drop of a drag often arrives after the release of the button was seen, so what dropAt()
/// answers from must outlast hiding.
class DropTarget {
public:
    DropTarget() = default;
    DropTarget(const DropTarget&) = delete;
    DropTarget& operator=(const DropTarget&) = delete;
    virtual ~DropTarget() = default;

    /// The drag is over this point. True when it would be accepted there (it is on a petal).
    virtual bool dragMoved(QPointF viewPoint) = 0;

    /// The drag left the surface; it may come back.
    virtual void dragLeft() = 0;

    /// Takes the files of a drop, which may be none when the source gave none. False refuses them.
    using Drop = std::function<bool(const std::vector<std::filesystem::path>& files)>;

    /// What a drop at this point is for, whatever the target shows by the time the files are known; null refuses it.
    virtual Drop dropAt(QPointF viewPoint) = 0;

    /// The pointer was pressed on the surface, but beside the attached widget.
    virtual void pressedBeside() = 0;

    /// The drag is over: after a drop, or, with the button still down, cancelled.
    virtual void dragEnded(bool buttonStillDown) = 0;
};

/// The window system's side of the wheel's window. Main thread.
class WheelSurface {
public:
    WheelSurface() = default;
    WheelSurface(const WheelSurface&) = delete;
    WheelSurface& operator=(const WheelSurface&) = delete;
    virtual ~WheelSurface() = default;

    /// Takes charge of the window of this top-level widget, which need not be visible yet, and delivers drags to
    /// `target`. Makes the window, so that showing it does not have to; or takes the widget into a window of its own.
    /// Both outlive the surface, or detach() is called first. The widget must not accept drops by itself.
    virtual void attach(QWidget* panel, DropTarget* target) = 0;
    virtual void detach() = 0;

    /// Points outside the region belong to the windows below: drags, clicks and movements pass through. In pixels of
    /// the screen (the widget's device pixel ratio says how many it has) from its top-left corner, y down.
    virtual void setInputRegion(const QRegion& pixels) = 0;

    /// Everything the wheel paints, in the same coordinates. It is more than the input region: the cards and the
    /// capsule in the hole of the ring are visible but cannot be hit. Without a compositing manager the window is cut
    /// down to it (its bounding shape); with one it does not matter.
    virtual void setPaintedRegion(const QRegion& pixels) = 0;

    /// Puts the widget's top-left corner at a point of the desktop (Qt's global logical coordinates).
    virtual void place(QWidget& panel, QPoint origin);

    /// Whether the widget is to get keys when it is shown next.
    virtual void setTakesKeys(bool) { }

    /// Whether translucent windows and fading work now.
    virtual bool isCompositing() const = 0;

    /// isCompositing() changed.
    std::function<void()> onCompositingChanged;
};

} // namespace Pelgra
