#pragma once

#include "Platform/DragSource.h"

#include <vector>

namespace Pelgra {

/// Several sources as one, each of which sees a part: the one that reported the latest drag answers for it, and what it
/// does not see the others tell. While one that sees the button has it down, later ones do not take its drag over.
class CompositeDragSource final : public DragSource {
public:
    /// The sources outlive this one, which takes their callbacks. Earlier ones are asked first.
    explicit CompositeDragSource(std::vector<DragSource*> sources);
    ~CompositeDragSource() override;

    void refresh() override;
    std::int64_t changeCount() const override { return m_changeCount; }
    bool isWithinReach() const override { return m_current->isWithinReach(); }
    ButtonState primaryButton() const override;
    ModifierFlags modifierFlags() const override;
    ModifierFlags modifierFlagsNow() override;
    std::vector<std::filesystem::path> fileURLs() override;
    bool tellsFiles() const override { return m_current->tellsFiles(); }
    std::optional<QPoint> pointer() const override;
    void setTapFlags(ModifierFlags flags) override;

    /// Which of the sources answers for the latest drag.
    const DragSource* current() const { return m_current; }

private:
    struct Part {
        DragSource* source;
        std::int64_t changeCount;
    };
    std::vector<Part> m_parts;
    DragSource* m_current; ///< whose drag it is
    std::int64_t m_changeCount = 0;
};

} // namespace Pelgra
