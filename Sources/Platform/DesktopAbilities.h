#pragma once

#include <string>
#include <vector>

namespace Pelgra {

/// What this session gives Pelgra to work with.
struct DesktopAbilities {
    /// What the user can do so that more works.
    enum class Step {
        none,
        showKeysToX11, ///< the compositor may show keys to X11 programs, but was told not to
        bindKeys, ///< the compositor shows keys to nobody, but runs a command at a key
    };

    bool seesDrags = false; ///< that files are dragged in any program
    bool seesKeys = false; ///< which keys go down meanwhile
    Step step = Step::none;
    std::vector<std::string> sources; ///< who tells of them, in words for a report
    std::string compositor; ///< or X server: who shows the windows, likewise
    std::string surfaces; ///< how the wheel is shown, likewise
    std::vector<std::string> missing; ///< what more would take, likewise

    bool hasGesture() const { return seesDrags && seesKeys; }
};

} // namespace Pelgra
