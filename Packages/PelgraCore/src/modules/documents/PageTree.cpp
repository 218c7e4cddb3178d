#include "PageTree.h"

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

} // namespace

long long SourcePage::rotation() const
{
    return integerOf(rotate).value_or(0);
}

PageBox SourcePage::box() const
{
    return visibleBox(boxFrom(mediaBox), boxFrom(cropBox));
}

std::vector<SourcePage> walkPageTree(QPDF& document)
{
    Object root = dictionaryOf(document.getRoot(), "/Pages");
    if (root.isNull())
        return pagesWithoutTree(document);
    std::vector<SourcePage> pages;
    std::set<QPDFObjGen> visited;
    std::vector<SourcePage> pending{inheriting(root, nothingInherited)};
    while (!pending.empty()) {
        SourcePage node = pending.back();
        pending.pop_back();
        std::vector<Object> kids = itemsOf(valueOf(node.object, "/Kids"));
        const bool isNode = !isNamed(node.object, "/Type", "/Page") && valueOf(node.object, "/Kids").isArray();
        if (!isNode) {
            if (!isNamed(node.object, "/Type", "/Pages"))
                pages.push_back(node);
            continue;
        }
        if (node.object.isIndirect() && !visited.insert(node.object.getObjGen()).second)
            continue;
        for (auto kid = kids.rbegin(); kid != kids.rend(); ++kid) {
            if (kid->isDictionary())
                pending.push_back(inheriting(*kid, node));
        }
    }
    return pages;
}

} // namespace Pelgra::Documents
