#include "OutlineIndex.h"

#include "Destinations.h"

#include <set>

namespace Pelgra::Documents {

OutlineIndex::OutlineIndex(SourceDocument& source)
    : m_source(source)
{
    struct Place {
        Object item;
        std::size_t parent;
        int depth;
    };
    std::set<QPDFObjGen> visited;
    std::vector<Place> pending{{dictionaryOf(dictionaryOf(source.catalog(), "/Outlines"), "/First"), noParent, 0}};
    while (!pending.empty()) {
        const Place place = pending.back();
        pending.pop_back();
        Object item = place.item;
        if (item.isNull() || (item.isIndirect() && !visited.insert(item.getObjGen()).second))
            continue;
        const std::size_t index = m_entries.size();
        m_entries.push_back({item, place.parent});
        pending.push_back({dictionaryOf(item, "/Next"), place.parent, place.depth});
        if (place.depth + 1 < depthLimit)
            pending.push_back({dictionaryOf(item, "/First"), index, place.depth + 1});
    }
}

std::vector<std::size_t> OutlineIndex::entriesFor(const std::vector<std::size_t>& pages)
{
    if (!m_byPage) {
        m_byPage.emplace();
        for (std::size_t index = 0; index < m_entries.size(); ++index) {
            for (const std::size_t page : pagesLedTo(m_source, m_entries[index].item))
                (*m_byPage)[page].push_back(index);
        }
    }
    std::set<std::size_t> kept;
    for (const std::size_t page : pages) {
        const auto found = m_byPage->find(page);
        if (found == m_byPage->end())
            continue;
        for (const std::size_t entry : found->second) {
            for (std::size_t index = entry; index != noParent && kept.insert(index).second;)
                index = m_entries[index].parent;
        }
    }
    return {kept.begin(), kept.end()};
}

} // namespace Pelgra::Documents
