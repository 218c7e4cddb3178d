#include "Layers.h"

#include <set>

namespace Pelgra::Documents {

namespace {

/// Groups nested deeper in the list that readers show are left out.
constexpr int depthLimit = 32;

class LayerList {
public:
    void add(Input& input)
    {
        Object properties = dictionaryOf(input.source.catalog(), "/OCProperties");
        m_copier = &input.copier;
        m_copier->setPlaces({&input.places});
        m_keepsAll = input.isComplete();
        m_hidden = hiddenIn(dictionaryOf(properties, "/D"));
        m_isHiddenByDefault = isNamed(dictionaryOf(properties, "/D"), "/BaseState", "/OFF");
        const std::set<QPDFObjGen> shown = idsIn(valueOf(dictionaryOf(properties, "/D"), "/ON"));
        bool hasLayers = false;
        for (const Object& layer : itemsOf(valueOf(properties, "/OCGs"))) {
            Object copy = kept(layer);
            if (copy.isNull() || !m_known.insert(copy.getObjGen()).second)
                continue;
            hasLayers = true;
            m_layers.appendItem(copy);
            const QPDFObjGen id = Object(layer).getObjGen();
            if (m_hidden.count(id) != 0 || (m_isHiddenByDefault && shown.count(id) == 0))
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
    static std::set<QPDFObjGen> idsIn(Object array)
    {
        std::set<QPDFObjGen> ids;
        for (const Object& item : itemsOf(array))
            ids.insert(Object(item).getObjGen());
        return ids;
    }

    static std::set<QPDFObjGen> hiddenIn(Object configuration) { return idsIn(valueOf(configuration, "/OFF")); }

    Object kept(Object layer)
    {
        const bool isKept = layer.isDictionary() && layer.isIndirect() && (m_keepsAll || m_copier->knows(layer));
        return isKept ? m_copier->copy(layer) : Object::newNull();
    }

    /// An array of layers, texts and further arrays of them, with the kept layers only.
    Object keptAmong(Object array, int depth = 0)
    {
        Object result = Object::newArray();
        bool hasLayer = false;
        for (const Object& constItem : itemsOf(array)) {
            Object item = constItem;
            Object copy = Object::newNull();
            if (item.isArray() && depth < depthLimit)
                copy = keptAmong(item, depth + 1);
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
        for (const Object& usage : itemsOf(valueOf(source, "/AS"))) {
            if (!Object(usage).isDictionary())
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
    bool m_isHiddenByDefault = false;
    std::set<QPDFObjGen> m_hidden;
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
