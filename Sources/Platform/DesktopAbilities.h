#pragma once

#include <string>
#include <utility>
#include <vector>

namespace Pelgra {

/// What this session gives Pelgra to work with.
struct DesktopAbilities {
    /// What the user can do so that more works.
    enum class Step {
        none,
        showKeysToX11, ///< the compositor may show keys to X11 programs, but was told not to
        bindKeys, ///< the compositor shows keys to nobody, but runs a command at a key
        enableExtension, ///< that of GNOME Shell is installed, and off
        bindShortcuts, ///< the desktop gives programs shortcuts when they ask
    };

    bool seesDrags = false; ///< that files are dragged in any program
    bool seesKeys = false; ///< which keys go down meanwhile
    bool seesFiles = true; ///< which files, before a drag comes over a surface of ours
    bool seesPointer = true; ///< where the pointer is meanwhile
    Step step = Step::none;
    Step otherStep = Step::none; ///< does as well
    /// Where the keys themselves are not seen, the shortcuts that open the wheels instead, in the desktop's words.
    std::string convertShortcut;
    std::string toolsShortcut;
    std::vector<std::string> sources; ///< who tells of them, in words for a report
    std::string compositor; ///< or X server: who shows the windows, likewise
    std::string surfaces; ///< how the wheel is shown, likewise
    std::vector<std::pair<std::string, std::string>> details; ///< more for a report: what, and how it is
    std::vector<std::string> missing; ///< what more would take, likewise

    bool hasShortcuts() const { return !convertShortcut.empty() || !toolsShortcut.empty(); }
    bool hasGesture() const { return seesDrags && seesKeys; }
};

} // namespace Pelgra
