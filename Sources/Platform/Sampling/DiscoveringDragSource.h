#pragma once

#include "Platform/DragSource.h"
#include "Platform/Sampling/DragCatcher.h"
#include "Platform/Sampling/DragDiscovery.h"

#include <functional>

namespace Pelgra {

/// Drags of a desktop that tells of little more than their beginning and of keys. The rest is learnt from the drag
/// itself when it is caught.
class DiscoveringDragSource final : public DragSource {
public:
    using Clock = std::function<DragDiscovery::Time()>;

    /// All outlive the source, which takes the callbacks of both.
    DiscoveringDragSource(DragSource& watched, DragCatcher& catcher, Clock clock);
    ~DiscoveringDragSource() override;

    void refresh() override;
    std::int64_t changeCount() const override { return m_sample.changeCount; }
    ButtonState primaryButton() const override { return m_sample.isButtonDown ? ButtonState::down : ButtonState::up; }
    ModifierFlags modifierFlags() const override { return m_sample.flags; }
    ModifierFlags modifierFlagsNow() override { return m_watched.modifierFlagsNow(); }
    std::vector<std::filesystem::path> fileURLs() override { return m_files; }
    std::optional<QPoint> pointer() const override { return m_pointer; }
    void setTapFlags(ModifierFlags flags) override { m_tapFlags = flags; }

    /// Keys that open a wheel went down during a drag, or what may be one.
    std::function<void(ModifierFlags flags)> onPressed;

    /// There was no drag to be found.
    std::function<void()> onNothingFound;

private:
    void follow();
    void ended(DragDiscovery::End end);
    void tellOfSign();

    DragSource& m_watched;
    DragCatcher& m_catcher;
    Clock m_clock;
    DragDiscovery m_discovery;
    DragDiscovery::Sample m_sample;
    std::int64_t m_watchedCount = 0;
    ModifierFlags m_watchedFlags = 0;
    ModifierFlags m_tapFlags = 0;
    std::vector<std::filesystem::path> m_files;
    std::optional<QPoint> m_pointer;
    bool m_isSpread = false;
    bool m_isFound = false; ///< by the surface that is spread
    bool m_isSignUntold = false;
};

} // namespace Pelgra
