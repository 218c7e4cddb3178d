#include "StructureTree.h"

#include "Trees.h"

#include <algorithm>
#include <set>

namespace Pelgra::Documents {

namespace {

/// Elements nested deeper are left out.
constexpr int depthLimit = 200;
constexpr long long keyLimit = 1LL << 24;

Object rootOf(SourceDocument& source)
{
    return dictionaryOf(source.catalog(), "/StructTreeRoot");
}

/// Copies the elements of one input that still have content.
class StructureReader {
public:
    explicit StructureReader(Input& input)
        : m_input(input)
    {
        input.copier.setPlaces({&input.places});
    }

    /// The copies of the elements beneath the root.
    std::vector<Object> elements(Object parent)
    {
        std::vector<Object> result;
        for (const Object& item : kidsOf(rootOf(m_input.source))) {
            if (Kid kid = kidFrom(item, Object::newNull(), parent, 0); kid.kind == KidKind::content)
                result.push_back(kid.copy);
        }
        return result;
    }

private:
    enum class KidKind {
        content, ///< leads to something on a page of the output
        empty, ///< has never led to anything, such as an empty cell of a table; stays where its surroundings stay
        gone
    };
    struct Kid {
        KidKind kind = KidKind::gone;
        Object copy = Object::newNull();
    };

    std::vector<Object> kidsOf(Object element)
    {
        Object kids = valueOf(element, "/K");
        if (kids.isArray())
            return m_lists.itemsOf(kids);
        return kids.isNull() ? std::vector<Object>() : std::vector<Object>{kids};
    }

    const PlacedPage* placedPage(Object page)
    {
        const auto index = m_input.source.pageIndexOf(page);
        return index ? m_input.firstCopyOf(*index) : nullptr;
    }

    Kid kidFrom(Object item, Object page, Object parentCopy, int depth)
    {
        if (item.isInteger())
            return numberedContentFrom(item, page);
        if (!item.isDictionary() || depth >= depthLimit)
            return {};
        if (isNamed(item, "/Type", "/MCR"))
            return contentFrom(item, page);
        if (isNamed(item, "/Type", "/OBJR"))
            return objectFrom(item);
        return elementFrom(item, page, parentCopy, depth);
    }

    /// Content of the element's page by its number, which has to name the stream where that is not the page's own.
    Kid numberedContentFrom(Object number, Object page)
    {
        const PlacedPage* const placed = placedPage(page);
        if (!placed)
            return {};
        if (!placed->transform)
            return {KidKind::content, number.shallowCopy()};
        Object reference = Object::newDictionary();
        reference.replaceKey("/Type", Object::newName("/MCR"));
        reference.replaceKey("/Pg", placed->page);
        reference.replaceKey("/Stm", placed->form);
        reference.replaceKey("/MCID", number.shallowCopy());
        return {KidKind::content, reference};
    }

    Kid contentFrom(Object item, Object page)
    {
        Object own = valueOf(item, "/Pg");
        const PlacedPage* const placed = placedPage(own.isNull() ? page : own);
        if (!placed)
            return {};
        Object copy = m_input.copier.copyEntries(item, {});
        if (placed->transform && valueOf(copy, "/Stm").isNull())
            copy.replaceKey("/Stm", placed->form);
        return {KidKind::content, copy};
    }

    Kid objectFrom(Object item)
    {
        Object object = valueOf(item, "/Obj");
        if (!object.isIndirect() || !m_input.copier.knows(object))
            return {};
        return {KidKind::content, m_input.copier.copyEntries(item, {})};
    }

    Kid elementFrom(Object item, Object page, Object parentCopy, int depth)
    {
        if (item.isIndirect() && !m_visited.insert(item.getObjGen()).second)
            return {};
        if (Object own = valueOf(item, "/Pg"); !own.isNull())
            page = own;
        Object copy = m_input.copier.output().makeIndirectObject(Object::newDictionary());
        Object kids = Object::newArray();
        bool hasContent = false;
        bool hasLost = false;
        for (const Object& kidItem : kidsOf(item)) {
            const Kid kid = kidFrom(kidItem, page, copy, depth + 1);
            hasContent = hasContent || kid.kind == KidKind::content;
            hasLost = hasLost || kid.kind == KidKind::gone;
            if (kid.kind != KidKind::gone)
                kids.appendItem(kid.copy);
        }
        if (!hasContent && hasLost)
            return {};
        // References to other elements are left out, since those may be gone.
        Object entries = m_input.copier.copyEntries(item, {"/K", "/P", "/Ref"});
        for (const auto& [key, value] : entries.getDictAsMap())
            copy.replaceKey(key, value);
        copy.replaceKey("/P", parentCopy);
        setUnlessEmpty(copy, "/K", kids);
        if (item.isIndirect())
            m_input.places.emplace(item.getObjGen(), copy);
        return {hasContent ? KidKind::content : KidKind::empty, copy};
    }

    Input& m_input;
    std::set<QPDFObjGen> m_visited;
    ListsOnce m_lists;
};

/// Those parts of the parent tree that lead to elements still there.
void addParents(Input& input, std::map<long long, Object>& parents)
{
    const auto placed = [&](Object element) {
        const auto found = input.places.find(element.getObjGen());
        return element.isIndirect() && found != input.places.end() ? found->second : Object::newNull();
    };
    const auto entries = readNumberTree(valueOf(rootOf(input.source), "/ParentTree"));
    std::map<QPDFObjGen, int> users;
    for (const auto& [key, value] : entries) {
        if (Object(value).isIndirect())
            ++users[Object(value).getObjGen()];
    }
    ObjectMap shared;
    for (const auto& [key, constValue] : entries) {
        Object value = constValue;
        Object copy = Object::newNull();
        const bool isShared = value.isArray() && value.isIndirect() && users[value.getObjGen()] > 1;
        if (const auto known = shared.find(value.getObjGen()); isShared && known != shared.end()) {
            copy = known->second;
        } else if (value.isArray()) {
            std::vector<Object> items = itemsOf(value);
            for (Object& item : items)
                item = placed(item);
            const bool isUsed =
                std::any_of(items.begin(), items.end(), [](const Object& item) { return !Object(item).isNull(); });
            if (isUsed)
                copy = Object::newArray(items);
            if (isShared)
                copy = shared[value.getObjGen()] = isUsed ? input.copier.output().makeIndirectObject(copy) : copy;
        } else if (value.isDictionary()) {
            copy = placed(value);
        }
        if (!copy.isNull())
            parents.emplace(key + *input.structureOffset, copy);
    }
}

/// Adds those entries of a dictionary of the source that the root does not have yet.
void addMissing(Object root, Input& input, const char* key)
{
    Object source = dictionaryOf(rootOf(input.source), key);
    if (source.isNull())
        return;
    Object own = dictionaryOf(root, key);
    if (own.isNull()) {
        own = Object::newDictionary();
        root.replaceKey(key, own);
    }
    for (const auto& [name, value] : source.getDictAsMap()) {
        if (!own.hasKey(name))
            own.replaceKey(name, input.copier.copy(value));
    }
}

/// Appends the vocabularies from which elements may take the names of their kinds; those of a file given twice only
/// once.
void addNamespaces(Input& input, Object namespaces, std::set<QPDFObjGen>& known)
{
    for (const Object& item : itemsOf(valueOf(rootOf(input.source), "/Namespaces"))) {
        Object copy = input.copier.copy(item);
        if (copy.isDictionary() && (!copy.isIndirect() || known.insert(copy.getObjGen()).second))
            namespaces.appendItem(copy);
    }
}

void addIdentifiers(Input& input, std::map<std::string, Object>& identifiers)
{
    for (const auto& [name, element] : readNameTree(valueOf(rootOf(input.source), "/IDTree"))) {
        const auto found = input.places.find(Object(element).getObjGen());
        if (Object(element).isIndirect() && found != input.places.end())
            identifiers.emplace(name, found->second);
    }
}

} // namespace

std::optional<long long> structureKeyCount(SourceDocument& source)
{
    if (rootOf(source).isNull())
        return std::nullopt;
    long long count = 0;
    for (const auto& [key, value] : readNumberTree(valueOf(rootOf(source), "/ParentTree")))
        count = std::max(count, key + 1);
    return count < keyLimit ? std::optional(count) : std::nullopt;
}

Object combinedStructure(const std::vector<std::unique_ptr<Input>>& inputs, QPDF& output)
{
    Object root = output.makeIndirectObject(Object::newDictionary());
    Object kids = Object::newArray();
    std::map<long long, Object> parents;
    std::map<std::string, Object> identifiers;
    Object namespaces = Object::newArray();
    std::set<QPDFObjGen> knownNamespaces;
    for (const std::unique_ptr<Input>& input : inputs) {
        if (!input->structureOffset)
            continue;
        for (const Object& element : StructureReader(*input).elements(root))
            kids.appendItem(element);
        addParents(*input, parents);
        addIdentifiers(*input, identifiers);
        for (const char* const key : {"/RoleMap", "/ClassMap"})
            addMissing(root, *input, key);
        addNamespaces(*input, namespaces, knownNamespaces);
    }
    if (kids.getArrayNItems() == 0)
        return Object::newNull();
    root.replaceKey("/Type", Object::newName("/StructTreeRoot"));
    root.replaceKey("/K", kids);
    setUnlessEmpty(root, "/ParentTree", makeNumberTree(parents));
    setUnlessEmpty(root, "/IDTree", makeNameTree(identifiers));
    setUnlessEmpty(root, "/Namespaces", namespaces);
    if (!parents.empty())
        root.replaceKey("/ParentTreeNextKey", Object::newInteger(parents.rbegin()->first + 1));
    return root;
}

} // namespace Pelgra::Documents
