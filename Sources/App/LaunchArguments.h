#pragma once

#include "Wheel/WheelKind.h"

#include <filesystem>
#include <span>
#include <string>
#include <vector>

namespace Pelgra {

/// What the desktop program was started for: [wheel] [--kind convert|tools] [-key value]… [--] FILE…
/// Without files it runs in the tray; with files it shows a wheel for them. Pairs "-key value" belong to Preferences.
struct LaunchArguments {
    WheelKind kind = WheelKind::convert;
    std::vector<std::filesystem::path> files; ///< absolute, otherwise as given

    /// The words are the bytes of the arguments, without the program. Throws std::invalid_argument with a sentence for
    /// the user.
    static LaunchArguments parse(std::span<const std::string> words);

    bool operator==(const LaunchArguments&) const = default;
};

} // namespace Pelgra
