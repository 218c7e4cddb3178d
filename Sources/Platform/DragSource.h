#pragma once

#include "Platform/ModifierFlags.h"

#include <QPoint>

#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <vector>

namespace Pelgra {

/// What is known of the pointer's primary button.
enum class ButtonState {
    up,
    down,
    unseen, ///< the desktop does not tell
};

/// What is known at its beginning of a drag that has to be looked for.
struct DragSign {
    bool isWithinReach = true; ///< a surface of ours could catch it
    std::optional<std::vector<std::filesystem::path>> files; ///< nothing where the desktop does not tell
};

/// The global state that reveals drags between any applications of the desktop. One per process, main thread only.
/// Nothing here ever waits for the application that drags.
class DragSource {
public:
    DragSource() = default;
    DragSource(const DragSource&) = delete;
    DragSource& operator=(const DragSource&) = delete;
    virtual ~DragSource() = default;

    /// Takes one sample. The values below are those of the latest sample.
    virtual void refresh() = 0;

    /// Changes whenever a drag begins anywhere, except in this process.
    virtual std::int64_t changeCount() const = 0;

    /// Whether a surface of ours could catch the latest drag, where drags have to be looked for.
    virtual bool isWithinReach() const { return true; }

    /// Up to date while a drag is under way; between drags up.
    virtual ButtonState primaryButton() const = 0;

    /// The modifiers that are down, and those that went down since the sample before and are up again already. Up to
    /// date while a drag is under way.
    virtual ModifierFlags modifierFlags() const = 0;

    /// The modifiers that are down at this moment, drag or not; asks the desktop.
    virtual ModifierFlags modifierFlagsNow() { return modifierFlags(); }

    /// The dragged files in the source's order, links as they are; empty until they are known (on some desktops only
    /// when the drag comes over a surface of ours), and for drags without files.
    virtual std::vector<std::filesystem::path> fileURLs() = 0;

    /// Whether fileURLs() tells before the drag comes over a surface of ours.
    virtual bool tellsFiles() const { return true; }

    /// Where the pointer is now, in Qt's global logical coordinates (y down); nothing where the desktop does not tell.
    virtual std::optional<QPoint> pointer() const = 0;

    /// The modifiers that open a wheel, told before each sample: a source that has to look for the drag does so for
    /// these alone.
    virtual void setTapFlags(ModifierFlags) { }

    /// Something happened that deserves a sample at once: a modifier went down or the files became known. May be
    /// called at any time except inside refresh().
    std::function<void()> onNews;

    /// Where drags have to be looked for: somebody has begun one, and its files are known if they ever are. May be
    /// called inside refresh().
    std::function<void(const DragSign& sign)> onSign;

    /// A drag was cancelled with the button still down: by Escape, or because its source has gone. Drops of this drag
    /// are refused from now on.
    std::function<void()> onCancelled;
};

} // namespace Pelgra
