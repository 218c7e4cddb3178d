#pragma once

#include "Drag/DragEvent.h"
#include "Settings/ModifierKey.h"

#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <vector>

namespace Pelgra {

/// A flag beside those of the modifiers: a tap that opens this wheel, whatever key does.
constexpr ModifierFlags tapFlagOf(WheelKind kind)
{
    return ModifierFlags{1} << (kind == WheelKind::convert ? 32 : 33);
}

/// All that may count in a sample.
inline constexpr ModifierFlags relevantTapFlags =
    relevantModifierFlags | tapFlagOf(WheelKind::convert) | tapFlagOf(WheelKind::tools);

/// The rules that turn samples of the global input state into drag events. A plain value; knows no clock and no
/// desktop.
struct DragSessionMachine {
    ModifierFlags convertFlag = 0; ///< the bits of the key of the conversion wheel; set by the owner before each step
    ModifierFlags toolsFlag = 0; ///< the bits of the key of the tools wheel, likewise
    std::optional<std::int64_t> lastChangeCount; ///< the change count already accounted for
    bool isActive = false; ///< a drag of files is under way
    std::vector<std::filesystem::path> urls; ///< the files of the session
    ModifierFlags previousFlags = 0; ///< the relevant flags of the sample before

    using FileReader = std::function<std::vector<std::filesystem::path>()>;

    /// Takes one sample and returns what it means, in order. `fileURLs` gives the dragged files (or none) and is
    /// called at most once, only for a new change count with the button down outside a session.
    std::vector<DragEvent> step(std::int64_t changeCount, bool buttonDown, ModifierFlags flags,
                                const FileReader& fileURLs);

    /// Forgets the session without an event: the same drag does not start another, and its end goes unreported.
    void cancel();

    bool operator==(const DragSessionMachine&) const = default;

private:
    std::vector<DragEvent> tapsOf(ModifierFlags pressed) const;
    std::vector<DragEvent> stepInSession(std::int64_t changeCount, bool buttonDown, ModifierFlags relevantFlags);
    std::vector<DragEvent> stepOutsideSession(std::int64_t changeCount, bool buttonDown, const FileReader& fileURLs);
};

} // namespace Pelgra
