#pragma once

#include "Platform/DragSource.h"

namespace Pelgra {

/// Says what a test has it say.
class FakeDragSource final : public DragSource {
public:
    void refresh() override { ++refreshed; }
    std::int64_t changeCount() const override { return count; }
    bool isWithinReach() const override { return reachable; }
    ButtonState primaryButton() const override { return button; }
    ModifierFlags modifierFlags() const override { return flags; }
    std::vector<std::filesystem::path> fileURLs() override { return files; }
    bool tellsFiles() const override { return telling; }
    std::optional<QPoint> pointer() const override { return place; }
    void setTapFlags(ModifierFlags watched) override { tapFlags = watched; }

    int refreshed = 0;
    std::int64_t count = 0;
    bool reachable = true;
    bool telling = true;
    ButtonState button = ButtonState::unseen;
    ModifierFlags flags = 0;
    ModifierFlags tapFlags = 0;
    std::vector<std::filesystem::path> files;
    std::optional<QPoint> place;
};

} // namespace Pelgra
