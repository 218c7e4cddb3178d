#pragma once

#include "Wheel/WheelKind.h"

#include <filesystem>
#include <variant>
#include <vector>

namespace Pelgra {

/// A drag of files has begun somewhere; never empty, in the source's order.
struct SessionStarted {
    std::vector<std::filesystem::path> files;
    bool operator==(const SessionStarted&) const = default;
};

/// The key bound to this wheel, or what stands for it, went down during the session.
struct KeyTapped {
    WheelKind kind;
    bool operator==(const KeyTapped&) const = default;
};

/// The button was released: a drop or the end of the drag.
struct SessionEnded {
    bool operator==(const SessionEnded&) const = default;
};

using DragEvent = std::variant<SessionStarted, KeyTapped, SessionEnded>;

} // namespace Pelgra
