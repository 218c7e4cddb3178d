#include "Outlines.h"

#include "Destinations.h"
#include "OutlineIndex.h"

#include <map>

namespace Pelgra::Documents {

namespace {

struct Entry {
    Object copy = Object::newNull(); ///< a dictionary without its place in the outline
    bool isOpen = false;
    std::vector<Entry> children;
};

/// Reads the outline of one input into copies of its entries.
class OutlineReader {
public:
    OutlineReader(Input& input, const std::vector<std::unique_ptr<Input>>& inputs, bool keepsUnplaced)
        : m_input(input)
        , m_links(input, inputs)
        , m_keepsUnplaced(keepsUnplaced)
    {
        input.copier.setPlaces({&input.places});
    }

    /// What is kept of the outline.
    std::vector<Entry> read()
    {
        OutlineIndex& outline = m_input.source.outline();
        const auto addKept = [&](std::size_t index) {
            m_children[outline.entries()[index].parent].push_back(index);
        };
        if (m_keepsUnplaced) {
            for (std::size_t index = 0; index < outline.entries().size(); ++index)
                addKept(index);
        } else {
            std::vector<std::size_t> pages;
            for (const PlacedPage& page : m_input.pages)
                pages.push_back(page.sourceIndex);
            for (const std::size_t index : outline.entriesFor(pages))
                addKept(index);
        }
        return childrenOf(OutlineIndex::noParent);
    }

private:
    std::vector<Entry> childrenOf(std::size_t parent)
    {
        std::vector<Entry> entries;
        const auto children = m_children.find(parent);
        if (children == m_children.end())
            return entries;
        for (const std::size_t index : children->second) {
            if (std::optional<Entry> entry = entryFrom(m_input.source.outline().entries()[index].item, index))
                entries.push_back(std::move(*entry));
        }
        return entries;
    }

    std::optional<Entry> entryFrom(Object item, std::size_t index)
    {
        Entry entry;
        entry.isOpen = integerOf(valueOf(item, "/Count")).value_or(0) > 0;
        entry.children = childrenOf(index);
        const bool leads = m_links.leadsSomewhere(item);
        const bool hadChildren = valueOf(item, "/First").isDictionary();
        const bool isUnplaced = !LinkRewriter::hasTarget(item) && !hadChildren;
        if (!leads && entry.children.empty() && !(isUnplaced && m_keepsUnplaced))
            return std::nullopt;
        if (leads && entry.children.empty() && !m_keepsUnplaced && !leadsToPage(item))
            return std::nullopt;
        entry.copy = m_input.copier.copyEntries(
            item, {"/Parent", "/Prev", "/Next", "/First", "/Last", "/Count", "/Dest", "/A", "/SE"});
        if (!valueOf(item, "/Title").isString())
            entry.copy.replaceKey("/Title", Object::newString(""));
        if (leads && !valueOf(item, "/Dest").isNull())
            entry.copy.replaceKey("/Dest", m_links.destination(valueOf(item, "/Dest")));
        else if (leads)
            entry.copy.replaceKey("/A", m_links.action(valueOf(item, "/A")));
        else if (LinkRewriter::hasTarget(item))
            leadToFirstChild(entry);
        return entry;
    }

    /// Whether the target is a page of the output rather than something outside.
    bool leadsToPage(Object item)
    {
        return !valueOf(item, "/Dest").isNull() || isNamed(valueOf(item, "/A"), "/S", "/GoTo");
    }

    static void leadToFirstChild(Entry& entry)
    {
        Object child = entry.children.front().copy;
        for (const char* const key : {"/Dest", "/A"}) {
            if (Object target = valueOf(child, key); !target.isNull())
                entry.copy.replaceKey(key, target.shallowCopy());
        }
    }

    Input& m_input;
    LinkRewriter m_links;
    bool m_keepsUnplaced;
    std::map<std::size_t, std::vector<std::size_t>> m_children; ///< kept entries by the one above them
};

/// Links the entries together beneath their parent; returns how many rows a reader shows for them.
long long chain(Object parent, std::vector<Entry>& entries, QPDF& output)
{
    long long rows = 0;
    Object previous = Object::newNull();
    for (Entry& entry : entries) {
        Object item = output.makeIndirectObject(entry.copy);
        const long long rowsBeneath = chain(item, entry.children, output);
        if (rowsBeneath > 0)
            item.replaceKey("/Count", Object::newInteger(entry.isOpen ? rowsBeneath : -rowsBeneath));
        rows += 1 + (entry.isOpen ? rowsBeneath : 0);
        item.replaceKey("/Parent", parent);
        if (previous.isNull()) {
            parent.replaceKey("/First", item);
        } else {
            item.replaceKey("/Prev", previous);
            previous.replaceKey("/Next", item);
        }
        previous = item;
    }
    if (!previous.isNull())
        parent.replaceKey("/Last", previous);
    return rows;
}

} // namespace

Object combinedOutline(const std::vector<std::unique_ptr<Input>>& inputs, bool keepsUnplaced, QPDF& output)
{
    std::vector<Entry> entries;
    for (const std::unique_ptr<Input>& input : inputs) {
        OutlineReader reader(*input, inputs, keepsUnplaced);
        for (Entry& entry : reader.read())
            entries.push_back(std::move(entry));
    }
    if (entries.empty())
        return Object::newNull();
    Object outline = output.makeIndirectObject(Object::newDictionary());
    outline.replaceKey("/Type", Object::newName("/Outlines"));
    outline.replaceKey("/Count", Object::newInteger(chain(outline, entries, output)));
    return outline;
}

} // namespace Pelgra::Documents
