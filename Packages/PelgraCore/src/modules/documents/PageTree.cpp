#include "PageTree.h"

#include <algorithm>
#include <set>

namespace Pelgra::Documents {

namespace {

std::optional<PageBox> boxFrom(Object value)
{
    const auto corners = rectangleOf(value);
    return corners ? std::optional(standardised(*corners)) : std::nullopt;
}

/// A node with the attributes of its ancestors.
SourcePage inheriting(Object node, const SourcePage& parent)
{
    const auto nearest = [&](const char* key, const Object& inherited) {
        Object own = valueOf(node, key);
        return own.isNull() ? inherited : own;
    };
    return {node, nearest("/Resources", parent.resources), nearest("/MediaBox", parent.mediaBox),
            nearest("/CropBox", parent.cropBox), nearest("/Rotate", parent.rotate)};
}

const SourcePage nothingInherited{Object::newNull(), Object::newNull(), Object::newNull(), Object::newNull(),
                                  Object::newNull()};

std::vector<SourcePage> pagesWithoutTree(QPDF& document)
{
    std::vector<SourcePage> pages;
    for (Object& object : document.getAllObjects()) {
        if (object.isDictionary() && isNamed(object, "/Type", "/Page"))
            pages.push_back(inheriting(object, nothingInherited));
    }
    return pages;
}

std::vector<SourcePage> pagesBelow(Object root, std::size_t& emptyEntries)
{
    std::vector<SourcePage> pages;
    std::set<QPDFObjGen> visited;
    ListsOnce lists;
    std::vector<SourcePage> pending{inheriting(root, nothingInherited)};
    while (!pending.empty()) {
        SourcePage node = pending.back();
        pending.pop_back();
        const bool isNode = !isNamed(node.object, "/Type", "/Page") && valueOf(node.object, "/Kids").isArray();
        if (!isNode) {
            const bool isRoot = node.object.isSameObjectAs(root);
            if (isNamed(node.object, "/Type", "/Page") || !(isRoot || isNamed(node.object, "/Type", "/Pages")))
                pages.push_back(node);
            continue;
        }
        if (node.object.isIndirect() && !visited.insert(node.object.getObjGen()).second)
            continue;
        const std::vector<Object> kids = lists.itemsOf(valueOf(node.object, "/Kids"));
        for (auto kid = kids.rbegin(); kid != kids.rend(); ++kid) {
            if (Object object = *kid; object.isDictionary())
                pending.push_back(inheriting(object, node));
            else
                ++emptyEntries;
        }
    }
    return pages;
}

/// A reference to an object that is not there, or to a stream cut off by the end of the file, which has no data left.
/// Of an object that is cut off right behind its number the library makes whatever it finds there.
bool isLost(Object value)
{
    if (!value.isIndirect())
        return false;
    if (!value.isStream())
        return !value.isDictionary() && !value.isArray();
    try {
        return integerOf(valueOf(value, "/Length")) != 0 && value.getRawStreamData()->getSize() == 0;
    } catch (const std::exception&) {
        return true;
    }
}

/// Looks at the pages one after another; resources that many of them share are looked at once.
class LossFinder {
public:
    bool hasLostSomething(const SourcePage& page)
    {
        Object contents = valueOf(page.object, "/Contents");
        const std::vector<Object> parts = m_lists.itemsOf(contents);
        const bool hasLostParts = isAnyGone(parts);
        if (contents.isIndirect() && hasLostParts)
            m_lostLists.insert(contents.getObjGen());
        return hasLostParts || m_lostLists.count(contents.getObjGen()) != 0 || isGone(contents)
            || isGone(page.resources) || isGone(valueOf(page.object, "/Resources")) || areResourcesLost(page.resources);
    }

private:
    bool isGone(Object value)
    {
        if (!value.isIndirect())
            return false;
        const auto [place, isNew] = m_verdicts.emplace(value.getObjGen(), false);
        if (isNew)
            place->second = isLost(value);
        return place->second;
    }

    bool isAnyGone(const std::vector<Object>& values)
    {
        return std::any_of(values.begin(), values.end(), [&](const Object& value) { return isGone(value); });
    }

    bool areResourcesLost(Object resources)
    {
        if (m_last && m_last->first.isSameObjectAs(resources))
            return m_last->second;
        const bool result = isAnyLost(resources, "/XObject") || isAnyLost(resources, "/Font");
        m_last.emplace(resources, result);
        return result;
    }

    bool isAnyLost(Object resources, const char* category)
    {
        Object entries = valueOf(resources, category);
        if (!entries.isDictionary() || isGone(entries))
            return isGone(entries);
        if (entries.isIndirect() && !m_categories.insert(entries.getObjGen()).second)
            return m_lostCategories.count(entries.getObjGen()) != 0;
        const auto map = entries.getDictAsMap();
        const bool result =
            std::any_of(map.begin(), map.end(), [&](const auto& entry) { return isGone(entry.second); });
        if (result && entries.isIndirect())
            m_lostCategories.insert(entries.getObjGen());
        return result;
    }

    ListsOnce m_lists;
    std::set<QPDFObjGen> m_lostLists; ///< of content streams
    std::optional<std::pair<Object, bool>> m_last; ///< the resources of the page before
    std::set<QPDFObjGen> m_categories;
    std::set<QPDFObjGen> m_lostCategories;
    std::map<QPDFObjGen, bool> m_verdicts;
};

} // namespace

long long SourcePage::rotation() const
{
    return integerOf(rotate).value_or(0);
}

PageBox SourcePage::box() const
{
    return visibleBox(boxFrom(mediaBox), boxFrom(cropBox));
}

PageTree walkPageTree(QPDF& document)
{
    PageTree tree;
    Object root = dictionaryOf(document.getRoot(), "/Pages");
    if (root.isNull()) {
        tree.pages = pagesWithoutTree(document);
        tree.losses.isListLost = true;
    } else {
        std::size_t emptyEntries = 0;
        tree.pages = pagesBelow(root, emptyEntries);
        const long long claimed = integerOf(valueOf(root, "/Count")).value_or(0);
        tree.losses.missing = missingPages(claimed, tree.pages.size(), emptyEntries);
    }
    if (document.anyWarnings()) {
        LossFinder finder;
        for (std::size_t index = 0; index < tree.pages.size(); ++index) {
            if (finder.hasLostSomething(tree.pages[index]))
                tree.losses.incomplete.push_back(static_cast<int>(index));
        }
    }
    return tree;
}

} // namespace Pelgra::Documents
