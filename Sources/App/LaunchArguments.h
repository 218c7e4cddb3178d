#pragma once

#include "Wheel/WheelKind.h"

#include <filesystem>
#include <span>
#include <string>
#include <vector>

namespace Pelgra {

/// What the desktop program was started for:
/// [wheel] [--kind convert|tools] [--background] [--settings] [--doctor] [--verbose] [-key value]… [--] FILE…
/// Without files it runs in the tray; with files it shows a wheel for them. Pairs "-key value" override settings for
/// the run; "-ToolWindowsDebug TOOL FILE…" is read elsewhere.
struct LaunchArguments {
    WheelKind kind = WheelKind::convert;
    std::vector<std::filesystem::path> files; ///< absolute, otherwise as given
    bool background = false; ///< started with the session: a second start shows nothing
    bool settings = false; ///< show the settings
    bool doctor = false; ///< print what a report of a fault should tell, and end
    bool verbose = false; ///< log to standard error

    /// The words are the bytes of the arguments, without the program. Throws std::invalid_argument with a sentence for
    /// the user.
    static LaunchArguments parse(std::span<const std::string> words);

    bool operator==(const LaunchArguments&) const = default;
};

} // namespace Pelgra
