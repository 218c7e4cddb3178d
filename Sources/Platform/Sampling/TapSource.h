#pragma once

#include "Platform/DragSource.h"
#include "Platform/Sampling/PressLatch.h"

namespace Pelgra {

/// Keys that somebody else saw go down and up, such as a key binding of the compositor. Tells of nothing but them.
class TapSource final : public DragSource {
public:
    void tap(ModifierFlags flags)
    {
        m_latch.press(flags);
        if (onNews)
            onNews();
    }

    void refresh() override { m_flags = m_latch.nextSample(); }
    std::int64_t changeCount() const override { return 0; }
    ButtonState primaryButton() const override { return ButtonState::unseen; }
    ModifierFlags modifierFlags() const override { return m_flags; }
    ModifierFlags modifierFlagsNow() override { return 0; }
    std::vector<std::filesystem::path> fileURLs() override { return {}; }
    std::optional<QPoint> pointer() const override { return std::nullopt; }

private:
    PressLatch m_latch;
    ModifierFlags m_flags = 0; ///< of the latest sample
};

} // namespace Pelgra
