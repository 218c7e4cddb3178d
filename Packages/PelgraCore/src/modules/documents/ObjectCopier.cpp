#include "ObjectCopier.h"

#include <qpdf/Pipeline.hh>

#include <algorithm>

namespace Pelgra::Documents {

namespace {

/// Whether an object must not be copied merely because something refers to it.
bool needsPlace(Object object)
{
    if (!object.isDictionary())
        return false;
    const std::string type = nameOf(object, "/Type");
    if (!type.empty()) {
        static const char* const placed[] = {"/Page",           "/Pages",    "/Catalog", "/Annot", "/StructElem",
                                             "/StructTreeRoot", "/Outlines", "/Thread",  "/Bead",  "/Template"};
        return std::any_of(std::begin(placed), std::end(placed), [&](const char* name) { return type == name; });
    }
    if (object.hasKey("/Rect") && object.hasKey("/Subtype"))
        return true; // an annotation; its type may be left out
    return object.hasKey("/FT") || (object.hasKey("/T") && object.hasKey("/Kids")); // a form field
}

/// Whether resources may serve others too, and so hold what their owner does not use.
bool mayBeShared(Object resources)
{
    return resources.isDictionary()
        && (resources.isIndirect() || valueOf(resources, "/XObject").isIndirect()
            || valueOf(resources, "/Font").isIndirect());
}

} // namespace

/// Hands the raw data of source streams to the writer of the output, decrypted but not decoded.
class ObjectCopier::StreamRelay final : public QPDFObjectHandle::StreamDataProvider {
public:
    void add(QPDFObjGen copy, Object source) { m_sources.emplace(copy, source); }

    void provideStreamData(const QPDFObjGen& copy, Pipeline* pipeline) override
    {
        const auto found = m_sources.find(copy);
        if (found == m_sources.end())
            pipeline->finish();
        else
            found->second.pipeStreamData(pipeline, 0, qpdf_dl_none, true);
    }

private:
    ObjectMap m_sources;
};

ObjectCopier::ObjectCopier(QPDF& output)
    : m_output(output)
    , m_relay(std::make_shared<StreamRelay>())
{
}

ObjectCopier::~ObjectCopier() = default;

bool ObjectCopier::knows(Object value) const
{
    const QPDFObjGen id = value.getObjGen();
    return m_shared.count(id) != 0
        || std::any_of(m_places.begin(), m_places.end(), [&](const ObjectMap* map) { return map->count(id) != 0; });
}

void ObjectCopier::forEachKnown(const std::function<void(QPDFObjGen)>& visit) const
{
    for (const auto& [id, copy] : m_shared)
        visit(id);
    for (const ObjectMap* const map : m_places) {
        for (const auto& [id, copy] : *map)
            visit(id);
    }
}

Object ObjectCopier::copy(Object value)
{
    Object result = convert(value);
    finishAll();
    return result;
}

Object ObjectCopier::copyEntries(Object dictionary, const std::vector<std::string>& omittedKeys)
{
    Object result = Object::newDictionary();
    for (const auto& [key, value] : dictionary.getDictAsMap()) {
        if (std::find(omittedKeys.begin(), omittedKeys.end(), key) == omittedKeys.end())
            result.replaceKey(key, convert(value));
    }
    finishAll();
    return result;
}

Object ObjectCopier::copyStreamData(Object stream)
{
    Object result = newStream(stream);
    Object filter = convert(valueOf(stream, "/Filter"));
    Object parameters = convert(valueOf(stream, "/DecodeParms"));
    finishAll();
    result.replaceStreamData(m_relay, filter, parameters);
    return result;
}

Object ObjectCopier::convert(Object value)
{
    if (value.isIndirect())
        return convertIndirect(value);
    if (value.isArray()) {
        std::vector<Object> items = value.getArrayAsVector();
        for (Object& item : items)
            item = convert(item);
        return Object::newArray(items);
    }
    if (value.isDictionary()) {
        Object result = Object::newDictionary();
        for (const auto& [key, entry] : value.getDictAsMap())
            result.replaceKey(key, convert(entry));
        return result;
    }
    return value.isScalar() ? value.shallowCopy() : Object::newNull();
}

Object ObjectCopier::convertIndirect(Object value)
{
    const QPDFObjGen id = value.getObjGen();
    for (const ObjectMap* places : m_places) {
        if (const auto found = places->find(id); found != places->end())
            return found->second;
    }
    if (const auto found = m_shared.find(id); found != m_shared.end())
        return found->second;
    Object result = Object::newNull();
    if (value.isStream()) {
        result = newStream(value);
    } else if (value.isArray()) {
        result = m_output.makeIndirectObject(Object::newArray());
    } else if (value.isDictionary()) {
        if (!needsPlace(value))
            result = m_output.makeIndirectObject(Object::newDictionary());
    } else if (value.isScalar() && !value.isNull()) {
        result = m_output.makeIndirectObject(value.shallowCopy());
    }
    if (result.isNull())
        return result; // not cached: it may be given a place later
    m_shared.emplace(id, result);
    if (!result.isScalar())
        m_unfinished.push_back({value, result});
    return result;
}

Object ObjectCopier::newStream(Object source)
{
    Object result = Object::newStream(&m_output);
    m_relay->add(result.getObjGen(), source);
    Object dictionary = source.getDict();
    // Whatever is compressed already stays as it is; the writer compresses the rest.
    if (!valueOf(dictionary, "/Filter").isNull())
        result.setFilterOnWrite(false);
    return result;
}

void ObjectCopier::fill(const Unfinished& unfinished)
{
    Object source = unfinished.source;
    Object result = unfinished.copy;
    if (source.isArray()) {
        for (const Object& item : source.getArrayAsVector())
            result.appendItem(convert(item));
    } else {
        fillDictionary(source, result);
    }
}

void ObjectCopier::fillDictionary(Object source, Object copy)
{
    const bool isStream = source.isStream();
    Object sourceDictionary = isStream ? source.getDict() : source;
    Object dictionary = isStream ? copy.getDict() : copy;
    for (const auto& [key, value] : sourceDictionary.getDictAsMap()) {
        if (isStream && key == "/Length")
            continue;
        if (isStream && (key == "/StructParents" || key == "/StructParent")) {
            if (m_structureOffset && Object(value).isInteger())
                dictionary.replaceKey(key, Object::newInteger(Object(value).getIntValue() + *m_structureOffset));
            continue;
        }
        if (m_prunesResources && key == "/Resources" && mayBeShared(value))
            dictionary.replaceKey(key, convertResources(value, namesUsedBy(source)));
        else
            dictionary.replaceKey(key, convert(value));
    }
    if (isStream)
        copy.replaceStreamData(m_relay, dictionary.getKey("/Filter"), dictionary.getKey("/DecodeParms"));
}

Object ObjectCopier::copyResources(Object resources, const std::optional<NameSet>& usedNames)
{
    Object result = convertResources(resources, usedNames);
    finishAll();
    return result;
}

Object ObjectCopier::convertResources(Object resources, const std::optional<NameSet>& usedNames)
{
    if (!usedNames || !resources.isDictionary())
        return convert(resources);
    Object result = Object::newDictionary();
    for (const auto& [category, entries] : resources.getDictAsMap()) {
        if (!Object(entries).isDictionary()) {
            result.replaceKey(category, convert(entries));
            continue;
        }
        Object kept = Object::newDictionary();
        // Looked up by what is used: many pages may share many resources of which each uses few.
        for (const std::string& name : *usedNames) {
            if (Object resource = valueOf(entries, name); !resource.isNull())
                kept.replaceKey(name, convert(resource));
        }
        // The default colour spaces are used without being named.
        for (const char* const name : {"/DefaultGray", "/DefaultRGB", "/DefaultCMYK"}) {
            if (Object resource = valueOf(entries, name); !resource.isNull())
                kept.replaceKey(name, convert(resource));
        }
        setUnlessEmpty(result, category, kept);
    }
    return result;
}

void ObjectCopier::finishAll()
{
    while (!m_unfinished.empty()) {
        const Unfinished next = m_unfinished.back();
        m_unfinished.pop_back();
        fill(next);
    }
}

} // namespace Pelgra::Documents
