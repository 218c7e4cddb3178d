#pragma once

#include "SourceDocument.h"

namespace Pelgra::Documents {

/// Which entries of a document's outline lead to which of its pages.
class OutlineIndex {
public:
    /// Entries nested deeper are left out.
    static constexpr int depthLimit = 200;
    static constexpr std::size_t noParent = static_cast<std::size_t>(-1);

    struct Entry {
        Object item;
        std::size_t parent = noParent; ///< index of the entry above
    };

    /// The source must outlive this.
    explicit OutlineIndex(SourceDocument& source);

    /// Every entry, each before those beneath it, in the order of the outline.
    const std::vector<Entry>& entries() const { return m_entries; }

    /// The indexes of the entries that lead to one of the pages, and of those above them, ascending.
    std::vector<std::size_t> entriesFor(const std::vector<std::size_t>& pages);

private:
    using EntriesByPage = std::map<std::size_t, std::vector<std::size_t>>;

    SourceDocument& m_source;
    std::vector<Entry> m_entries;
    std::optional<EntriesByPage> m_byPage; ///< worked out when first needed
};

} // namespace Pelgra::Documents
