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
        std::vector<Object> kids = itemsOf(valueOf(node.object, "/Kids"));
        for (auto kid = kids.rbegin(); kid != kids.rend(); ++kid) {
            if (kid->isDictionary())
                pending.push_back(inheriting(*kid, node));
            else
                ++emptyEntries;
        }
    }
    return pages;
}

/// A reference to an object that is not there, or to a stream cut off by the end of the file, which has no data left.
bool isLost(Object value)
{
    if (!value.isIndirect())
        return false;
    if (!value.isStream())
        return value.isNull();
    try {
        return integerOf(valueOf(value, "/Length")) != 0 && value.getRawStreamData()->getSize() == 0;
    } catch (const std::exception&) {
        return true;
    }
}

bool hasLostSomething(const SourcePage& page)
{
    Object contents = valueOf(page.object, "/Contents");
    std::vector<Object> parts = itemsOf(contents);
    parts.push_back(contents);
    parts.push_back(page.resources);
    parts.push_back(valueOf(page.object, "/Resources"));
    for (const char* const category : {"/XObject", "/Font"}) {
        Object entries = valueOf(page.resources, category);
        parts.push_back(entries);
        if (!entries.isDictionary())
            continue;
        for (const auto& [name, value] : entries.getDictAsMap())
            parts.push_back(value);
    }
    return std::any_of(parts.begin(), parts.end(), isLost);
}

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
        for (std::size_t index = 0; index < tree.pages.size(); ++index) {
            if (hasLostSomething(tree.pages[index]))
                tree.losses.incomplete.push_back(static_cast<int>(index));
        }
    }
    return tree;
}

} // namespace Pelgra::Documents
