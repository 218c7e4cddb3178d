#pragma once

#include <QPoint>

#include <filesystem>
#include <functional>
#include <vector>

namespace Pelgra {

/// A surface that can be spread over the screen in the middle of a foreign drag, and so learns of it. Nobody sees it.
/// Main thread; points are in Qt's global logical coordinates.
class DragCatcher {
public:
    DragCatcher() = default;
    DragCatcher(const DragCatcher&) = delete;
    DragCatcher& operator=(const DragCatcher&) = delete;
    virtual ~DragCatcher() = default;

    virtual void spread() = 0;

    /// The desktop has drags and pointer back when this returns; a wheel on the surface may still fade.
    virtual void fold() = 0;

    std::function<void(const std::vector<std::filesystem::path>& files, QPoint point)> onEntered;
    std::function<void(QPoint point)> onMoved;
    std::function<void()> onLeft; ///< cancelled, released where nothing takes it, gone to another screen, or well away
    std::function<void()> onDropped; ///< taken or not
    std::function<void(QPoint point)> onPointer; ///< the pointer is over the surface without a drag
};

} // namespace Pelgra
