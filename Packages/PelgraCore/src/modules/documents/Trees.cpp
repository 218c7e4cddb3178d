#include "Trees.h"

#include <set>

namespace Pelgra::Documents {

namespace {

/// Calls visit(key, value) for the pairs of every leaf, left to right.
template <typename Visit>
void walk(Object root, const char* leafKey, Visit&& visit)
{
    std::set<QPDFObjGen> visited;
    ListsOnce lists;
    std::vector<Object> pending{root};
    while (!pending.empty()) {
        Object node = pending.back();
        pending.pop_back();
        if (!node.isDictionary() || (node.isIndirect() && !visited.insert(node.getObjGen()).second))
            continue;
        const std::vector<Object> pairs = lists.itemsOf(valueOf(node, leafKey));
        for (std::size_t index = 0; index + 1 < pairs.size(); index += 2)
            visit(pairs[index], pairs[index + 1]);
        const std::vector<Object> kids = lists.itemsOf(valueOf(node, "/Kids"));
        pending.insert(pending.end(), kids.rbegin(), kids.rend());
    }
}

template <typename Key, typename MakeKey>
Object makeTree(const std::map<Key, Object>& entries, const char* leafKey, MakeKey&& makeKey)
{
    if (entries.empty())
        return Object::newNull();
    std::vector<Object> pairs;
    pairs.reserve(entries.size() * 2);
    for (const auto& [key, value] : entries) {
        pairs.push_back(makeKey(key));
        pairs.push_back(value);
    }
    Object tree = Object::newDictionary();
    tree.replaceKey(leafKey, Object::newArray(pairs));
    return tree;
}

} // namespace

std::vector<std::pair<std::string, Object>> readNameTree(Object root)
{
    std::vector<std::pair<std::string, Object>> entries;
    walk(root, "/Names", [&](Object key, const Object& value) {
        if (key.isString())
            entries.emplace_back(key.getStringValue(), value);
    });
    return entries;
}

std::vector<std::pair<long long, Object>> readNumberTree(Object root)
{
    std::vector<std::pair<long long, Object>> entries;
    walk(root, "/Nums", [&](Object key, const Object& value) {
        if (key.isInteger())
            entries.emplace_back(key.getIntValue(), value);
    });
    return entries;
}

Object makeNameTree(const std::map<std::string, Object>& entries)
{
    return makeTree(entries, "/Names", [](const std::string& key) { return Object::newString(key); });
}

Object makeNumberTree(const std::map<long long, Object>& entries)
{
    return makeTree(entries, "/Nums", [](long long key) { return Object::newInteger(key); });
}

} // namespace Pelgra::Documents
