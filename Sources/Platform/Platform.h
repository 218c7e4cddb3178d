#pragma once

#include "Platform/DragSource.h"
#include "Platform/WheelSurface.h"

#include <functional>
#include <memory>

namespace Pelgra {

/// The desktop as Pelgra needs it, for the session that the process runs in. Created after the QApplication and
/// destroyed before it; owns what it hands out. Main thread.
class Platform {
public:
    Platform() = default;
    Platform(const Platform&) = delete;
    Platform& operator=(const Platform&) = delete;
    virtual ~Platform() = default;

    /// The one place that chooses: X11 where Qt runs on it, else a platform on which no drag is ever seen.
    static std::unique_ptr<Platform> forThisSession();

    virtual DragSource& dragSource() = 0;
    virtual WheelSurface& wheelSurface() = 0;

    /// Whether the window system itself offers a tray for icons (trays on the session bus are found there).
    virtual bool hasTray() const = 0;

    /// hasTray() may have changed.
    std::function<void()> onTrayChanged;
};

} // namespace Pelgra
