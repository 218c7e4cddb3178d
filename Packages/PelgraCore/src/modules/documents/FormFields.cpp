#include "FormFields.h"

#include "FormResources.h"

#include <algorithm>

namespace Pelgra::Documents {

namespace {

/// A field is not followed further up.
constexpr int ancestorLimit = 64;

bool isWidget(Object object)
{
    return isNamed(object, "/Subtype", "/Widget");
}

bool isField(Object object)
{
    return !valueOf(object, "/T").isNull() || !valueOf(object, "/FT").isNull();
}

Object sourceForm(Input& input)
{
    return dictionaryOf(input.source.catalog(), "/AcroForm");
}

} // namespace

FormFields::Group& FormFields::groupFor(Input& input, PlacedPage* page)
{
    ObjectMap& places = page ? input.placesToFillFor(*page) : input.places;
    for (Group& group : m_groups) {
        if (group.places == &places)
            return group;
    }
    Group& group = m_groups.emplace_back();
    group.input = &input;
    group.places = &places;
    group.allPlaces = {&places};
    if (&places != &input.places)
        group.allPlaces.push_back(&input.places);
    return group;
}

FormFields::Node& FormFields::addNode(Group& group, Object source, Object copy, bool isWidgetToo)
{
    Node& node = group.nodes.emplace_back(Node{source, copy, isWidgetToo, {}});
    group.nodesByCopy.emplace(copy.getObjGen(), &node);
    return node;
}

void FormFields::place(Input& input, PlacedPage& page, const std::vector<PlacedAnnotation>& annotations)
{
    for (const PlacedAnnotation& annotation : annotations) {
        if (!isWidget(annotation.source))
            continue;
        Group& group = groupFor(input, &page);
        connect(group, addNode(group, annotation.source, annotation.copy, true));
    }
}

void FormFields::connect(Group& group, Node& start)
{
    Node* node = &start;
    for (int step = 0; step < ancestorLimit; ++step) {
        Object parent = dictionaryOf(node->source, "/Parent");
        if (parent.isNull() || !parent.isIndirect() || parent.isSameObjectAs(node->source))
            break;
        const auto placed = group.places->find(parent.getObjGen());
        if (placed != group.places->end()) {
            const auto known = group.nodesByCopy.find(placed->second.getObjGen());
            if (known == group.nodesByCopy.end())
                break;
            node->copy.replaceKey("/Parent", placed->second);
            known->second->kids.push_back(node->copy);
            return;
        }
        Object copy = group.input->copier.output().makeIndirectObject(Object::newDictionary());
        group.places->emplace(parent.getObjGen(), copy);
        Node& parentNode = addNode(group, parent, copy, false);
        parentNode.kids.push_back(node->copy);
        node->copy.replaceKey("/Parent", copy);
        node = &parentNode;
    }
    if (isField(node->source))
        group.roots.push_back(node);
}

void FormFields::placeHidden(Input& input)
{
    std::set<QPDFObjGen> visited;
    ListsOnce lists;
    std::vector<Object> pending = itemsOf(valueOf(sourceForm(input), "/Fields"));
    const bool isComplete = input.isComplete();
    while (!pending.empty()) {
        Object field = pending.back();
        pending.pop_back();
        if (!field.isDictionary() || !field.isIndirect() || !visited.insert(field.getObjGen()).second)
            continue;
        Object kidList = valueOf(field, "/Kids");
        const bool hasKids = kidList.isArray() && kidList.getArrayNItems() > 0;
        const std::vector<Object> kids = lists.itemsOf(kidList);
        pending.insert(pending.end(), kids.begin(), kids.end());
        const bool isPlaced = input.places.count(field.getObjGen()) != 0;
        // A widget of a page that is not in the output goes with it; one that was on no page stays with the whole.
        if (hasKids || isPlaced || !isField(field) || (isWidget(field) && !isComplete))
            continue;
        Object copy = input.copier.output().makeIndirectObject(Object::newDictionary());
        input.places.emplace(field.getObjGen(), copy);
        Group& group = groupFor(input, nullptr);
        connect(group, addNode(group, field, copy, false));
    }
}

void FormFields::fillNodes(Group& group, const std::vector<std::unique_ptr<Input>>& inputs)
{
    LinkRewriter links(*group.input, inputs);
    group.input->copier.setPlaces(group.allPlaces);
    for (Node& node : group.nodes) {
        if (node.isWidget)
            continue;
        Object entries = group.input->copier.copyEntries(node.source, {"/Kids", "/Parent", "/AA", "/A", "/P"});
        for (const auto& [key, value] : entries.getDictAsMap())
            node.copy.replaceKey(key, value);
        setUnlessEmpty(node.copy, "/AA", links.actionsByEvent(valueOf(node.source, "/AA")));
        if (node.kids.size() > 1) {
            const auto& order = group.input->source.positionsIn(node.source, "/Kids");
            const auto positionOf = [&](const Object& kid) {
                const auto found = order.find(group.nodesByCopy.at(kid.getObjGen())->source.getObjGen());
                return found != order.end() ? found->second : order.size();
            };
            std::stable_sort(node.kids.begin(), node.kids.end(), [&](const Object& left, const Object& right) {
                return positionOf(left) < positionOf(right);
            });
        }
        setUnlessEmpty(node.copy, "/Kids", Object::newArray(node.kids));
    }
}

void FormFields::nameRoots(Group& group, Object fields)
{
    const auto& order = group.input->source.positionsIn(sourceForm(*group.input), "/Fields");
    const auto positionOf = [&](const Node* node) {
        const auto found = order.find(node->source.getObjGen());
        return found != order.end() ? found->second : order.size();
    };
    std::stable_sort(group.roots.begin(), group.roots.end(),
                     [&](const Node* left, const Node* right) { return positionOf(left) < positionOf(right); });
    std::map<std::string, std::string> renamed; // fields of one form may share a name and then share their value
    for (Node* const root : group.roots) {
        fields.appendItem(root->copy);
        Object title = valueOf(root->copy, "/T");
        if (!title.isString())
            continue;
        const std::string name = title.getUTF8Value();
        const auto [place, isNew] = renamed.try_emplace(name);
        std::string& newName = place->second;
        if (isNew)
            newName = m_usedNames.take(
                name, [](const std::string& taken, int number) { return taken + ' ' + std::to_string(number); });
        if (newName != name)
            root->copy.replaceKey("/T", Object::newUnicodeString(newName));
    }
}

void FormFields::renameFonts(Input& input, const std::map<std::string, std::string>& renamed)
{
    if (renamed.empty())
        return;
    for (Group& group : m_groups) {
        if (group.input != &input)
            continue;
        for (Node& node : group.nodes) {
            if (Object appearance = valueOf(node.copy, "/DA"); appearance.isString())
                node.copy.replaceKey("/DA", withRenamedFonts(appearance, renamed));
        }
    }
}

void FormFields::adoptDefault(Input& input, const char* key, Object value)
{
    for (Group& group : m_groups) {
        if (group.input != &input)
            continue;
        for (Node* const root : group.roots) {
            if (valueOf(root->copy, key).isNull())
                root->copy.replaceKey(key, value.shallowCopy());
        }
    }
}

/// The fields of the input that are calculated, in the order in which they are. Looked up from the fields that there
/// are: a part of a document has few of them.
std::vector<Object> FormFields::calculationOrderOf(Input& input)
{
    const auto& positions = input.source.positionsIn(sourceForm(input), "/CO");
    std::map<std::size_t, Object> calculated;
    for (const auto& [source, copy] : input.places) {
        if (const auto found = positions.find(source); found != positions.end())
            calculated.emplace(found->second, copy);
    }
    std::vector<Object> order;
    for (const auto& [position, copy] : calculated)
        order.push_back(copy);
    return order;
}

void FormFields::mergeDefaults(Object form, Input& input, bool isFirst)
{
    Object source = sourceForm(input);
    input.copier.setPlaces({&input.places});
    if (isFirst) {
        for (const char* const key : {"/DA", "/Q", "/DR"})
            setUnlessEmpty(form, key, input.copier.copy(valueOf(source, key)));
        if (Object resources = dictionaryOf(form, "/DR"); resources.isIndirect())
            form.replaceKey("/DR", resources.shallowCopy()); // other forms add to it
    } else {
        for (const char* const key : {"/DA", "/Q"}) {
            if (Object value = valueOf(source, key); !value.isNull() && value.isScalar())
                adoptDefault(input, key, value);
        }
        Object resources = input.copier.copy(dictionaryOf(source, "/DR"));
        renameFonts(input, mergeFormResources(form, resources));
    }
    if (Object value = valueOf(source, "/NeedAppearances"); value.isBool() && value.getBoolValue())
        form.replaceKey("/NeedAppearances", Object::newBool(true));
    // Bit 2 forbids all but appended changes, and the output is not one.
    if (const auto flags = integerOf(valueOf(source, "/SigFlags")); flags && (*flags & 1) != 0)
        form.replaceKey("/SigFlags", Object::newInteger(1));
    Object order = valueOf(form, "/CO").isArray() ? form.getKey("/CO") : Object::newArray();
    for (const Object& copy : calculationOrderOf(input))
        order.appendItem(copy);
    setUnlessEmpty(form, "/CO", order);
}

void FormFields::finish(Object catalog, const std::vector<std::unique_ptr<Input>>& inputs, bool isWhole)
{
    Object form = Object::newDictionary();
    Object fields = Object::newArray();
    for (Group& group : m_groups) {
        fillNodes(group, inputs);
        nameRoots(group, fields);
    }
    if (fields.getArrayNItems() == 0 && !(isWhole && !sourceForm(*inputs.front()).isNull()))
        return;
    form.replaceKey("/Fields", fields);
    bool isFirst = true;
    for (const std::unique_ptr<Input>& input : inputs) {
        const bool hasFields = std::any_of(m_groups.begin(), m_groups.end(),
                                           [&](const Group& group) { return group.input == input.get(); });
        if ((!hasFields && !isWhole) || sourceForm(*input).isNull())
            continue;
        mergeDefaults(form, *input, isFirst);
        isFirst = false;
    }
    // XFA, a second description of the form, fits only the unchanged document.
    if (isWhole)
        setUnlessEmpty(form, "/XFA", inputs.front()->copier.copy(valueOf(sourceForm(*inputs.front()), "/XFA")));
    catalog.replaceKey("/AcroForm", form);
}

} // namespace Pelgra::Documents
