#include "Layers.h"

#include <algorithm>
#include <numeric>
#include <set>

namespace Pelgra::Documents {

namespace {

/// Groups nested deeper in the list that readers show are left out.
constexpr int depthLimit = 32;
/// Rules for showing layers by themselves; there are three occasions and eight categories.
constexpr std::size_t usageLimit = 256;

class LayerList {
public:
    void add(Input& input)
    {
        Object properties = dictionaryOf(input.source.catalog(), "/OCProperties");
        m_copier = &input.copier;
        m_copier->setPlaces({&input.places});
        m_keepsAll = input.isComplete();
        const LayerIndex& index = input.source.layers();
        bool hasLayers = false;
        for (const std::size_t position : keptOf(index)) {
            const Object copy = m_copier->copy(index.layers[position]);
            if (!m_known.insert(copy.getObjGen()).second)
                continue;
            hasLayers = true;
            m_layers.appendItem(copy);
            if (index.isHidden[position])
                m_off.appendItem(copy);
        }
        if (hasLayers)
            addArrangement(dictionaryOf(properties, "/D"));
    }

    Object properties()
    {
        if (m_layers.getArrayNItems() == 0)
            return Object::newNull();
        Object configuration = m_configuration;
        setUnlessEmpty(configuration, "/OFF", m_off);
        setUnlessEmpty(configuration, "/Order", m_order);
        setUnlessEmpty(configuration, "/AS", m_automatic);
        setUnlessEmpty(configuration, "/RBGroups", m_radioGroups);
        setUnlessEmpty(configuration, "/Locked", m_locked);
        Object result = Object::newDictionary();
        result.replaceKey("/OCGs", m_layers);
        result.replaceKey("/D", configuration);
        return result;
    }

private:
    /// Places in the list of layers, ascending. Of a part of many pages each has few, found without looking at all.
    std::vector<std::size_t> keptOf(const LayerIndex& index) const
    {
        std::vector<std::size_t> kept;
        if (m_keepsAll) {
            kept.resize(index.layers.size());
            std::iota(kept.begin(), kept.end(), std::size_t{0});
            return kept;
        }
        m_copier->forEachKnown([&](QPDFObjGen id) {
            if (const auto found = index.positions.find(id); found != index.positions.end())
                kept.push_back(found->second);
        });
        std::sort(kept.begin(), kept.end());
        kept.erase(std::unique(kept.begin(), kept.end()), kept.end());
        return kept;
    }

    Object kept(Object layer)
    {
        const bool isKept = layer.isDictionary() && layer.isIndirect() && (m_keepsAll || m_copier->knows(layer));
        return isKept ? m_copier->copy(layer) : Object::newNull();
    }

    /// An array of layers, texts and further arrays of them, with the kept layers only.
    Object keptAmong(Object array)
    {
        ListsOnce lists;
        return keptAmong(array, lists, 0);
    }

    Object keptAmong(Object array, ListsOnce& lists, int depth)
    {
        Object result = Object::newArray();
        bool hasLayer = false;
        for (const Object& constItem : lists.itemsOf(array)) {
            Object item = constItem;
            Object copy = Object::newNull();
            if (item.isArray() && depth < depthLimit)
                copy = keptAmong(item, lists, depth + 1);
            else if (item.isString() && depth > 0)
                copy = item.shallowCopy(); // the title of a group
            else if (item.isDictionary())
                copy = kept(item);
            if (copy.isNull() || (copy.isArray() && copy.getArrayNItems() == 0))
                continue;
            hasLayer = hasLayer || !copy.isString();
            result.appendItem(copy);
        }
        return hasLayer ? result : Object::newArray();
    }

    void append(Object list, Object additions)
    {
        for (const Object& item : itemsOf(additions))
            list.appendItem(item);
    }

    void addArrangement(Object source)
    {
        append(m_order, keptAmong(valueOf(source, "/Order")));
        append(m_radioGroups, keptAmong(valueOf(source, "/RBGroups")));
        append(m_locked, keptAmong(valueOf(source, "/Locked")));
        std::size_t usages = 0;
        for (const Object& usage : itemsOf(valueOf(source, "/AS"))) {
            if (!Object(usage).isDictionary() || ++usages > usageLimit)
                continue;
            Object copy = m_copier->copyEntries(usage, {"/OCGs"});
            copy.replaceKey("/OCGs", keptAmong(valueOf(usage, "/OCGs")));
            m_automatic.appendItem(copy);
        }
        if (!m_hasConfiguration) {
            m_configuration = source.isNull()
                ? Object::newDictionary()
                : m_copier->copyEntries(source, {"/BaseState", "/ON", "/OFF", "/Order", "/AS", "/RBGroups", "/Locked"});
            m_hasConfiguration = true;
        }
    }

    ObjectCopier* m_copier = nullptr;
    bool m_keepsAll = false;
    bool m_hasConfiguration = false;
    std::set<QPDFObjGen> m_known;
    Object m_configuration = Object::newDictionary();
    Object m_layers = Object::newArray();
    Object m_off = Object::newArray();
    Object m_order = Object::newArray();
    Object m_automatic = Object::newArray();
    Object m_radioGroups = Object::newArray();
    Object m_locked = Object::newArray();
};

} // namespace

Object combinedLayers(const std::vector<std::unique_ptr<Input>>& inputs)
{
    LayerList list;
    for (const std::unique_ptr<Input>& input : inputs)
        list.add(*input);
    return list.properties();
}

} // namespace Pelgra::Documents
