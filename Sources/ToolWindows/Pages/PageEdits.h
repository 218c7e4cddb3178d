#pragma once

#include "PelgraCore/Models.h"

#include <cstddef>
#include <vector>

namespace Pelgra {

/// The pages of a document as the user edits them, and the steps that can be undone. A plain value. Every operation
/// says whether it changed the pages.
class PageEdits {
public:
    /// All pages of the document in their order.
    explicit PageEdits(int pageCount = 0);

    const std::vector<PageEdit>& pages() const { return m_pages; }

    /// Whether the pages differ from the document's by source or rotation; identities do not count.
    bool isChanged() const;
    bool canRemove() const { return m_pages.size() > 1; }
    bool canUndo() const { return m_position > 0; }
    bool canRedo() const { return m_position + 1 < m_history.size(); }

    bool rotate(const Identifier& id);
    bool duplicate(const Identifier& id);
    bool remove(const Identifier& id);
    /// Moves a page by places.
    bool moveBy(const Identifier& id, std::ptrdiff_t delta);
    bool reset();

    /// The live reordering of a drag: no step of its own to undo until commitReordering(), and none at all after
    /// cancelReordering(), which puts back the order from before it.
    bool dragOver(const Identifier& dragging, const Identifier& target);
    bool commitReordering();
    bool cancelReordering();

    bool undo();
    bool redo();

private:
    bool recordStep();

    std::vector<PageEdit> m_original;
    std::vector<PageEdit> m_pages;
    std::vector<std::vector<PageEdit>> m_history; ///< states; m_position is the one shown
    std::size_t m_position = 0;
};

} // namespace Pelgra
