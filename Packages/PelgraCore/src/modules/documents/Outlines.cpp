#include "Outlines.h"

#include <set>

namespace Pelgra::Documents {

namespace {

/// Entries nested deeper are left out.
constexpr int depthLimit = 200;

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

    std::vector<Entry> childrenOf(Object parent, int depth = 0)
    {
        std::vector<Entry> entries;
        Object item = dictionaryOf(parent, "/First");
        while (!item.isNull() && depth < depthLimit) {
            if (item.isIndirect() && !m_visited.insert(item.getObjGen()).second)
                break;
            if (std::optional<Entry> entry = entryFrom(item, depth))
                entries.push_back(std::move(*entry));
            item = dictionaryOf(item, "/Next");
        }
        return entries;
    }

private:
    std::optional<Entry> entryFrom(Object item, int depth)
    {
        Entry entry;
        entry.isOpen = integerOf(valueOf(item, "/Count")).value_or(0) > 0;
        entry.children = childrenOf(item, depth + 1);
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
    std::set<QPDFObjGen> m_visited;
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
        for (Entry& entry : reader.childrenOf(dictionaryOf(input->source.catalog(), "/Outlines")))
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
