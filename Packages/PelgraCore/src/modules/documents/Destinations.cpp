#include "Destinations.h"

#include <algorithm>
#include <set>

namespace Pelgra::Documents {

namespace {

/// A chain of actions is not followed beyond this.
constexpr std::size_t chainLimit = 64;

struct Coordinates {
    std::optional<double> x;
    std::optional<double> y;
};

/// The point moved; a coordinate that depends on an unknown one stays unknown. Only quarter turns occur.
Coordinates moved(const QPDFMatrix& matrix, const Coordinates& point)
{
    const auto combined = [&](double fromX, double fromY, double offset) -> std::optional<double> {
        const bool needsX = std::abs(fromX) > 1e-9;
        const bool needsY = std::abs(fromY) > 1e-9;
        if ((needsX && !point.x) || (needsY && !point.y))
            return std::nullopt;
        return (needsX ? fromX * *point.x : 0) + (needsY ? fromY * *point.y : 0) + offset;
    };
    return {combined(matrix.a, matrix.c, matrix.e), combined(matrix.b, matrix.d, matrix.f)};
}

Object numberOrNull(std::optional<double> number)
{
    return number ? arrayOf({*number}).getArrayItem(0) : Object::newNull();
}

/// The arguments of a destination (from the kind on) for a page that was scaled.
std::vector<Object> movedArguments(const QPDFMatrix& matrix, std::vector<Object> arguments)
{
    const std::string kind = arguments[0].isName() ? arguments[0].getName() : "/Fit";
    const auto number = [&](std::size_t index) {
        return index < arguments.size() ? numberOf(arguments[index]) : std::nullopt;
    };
    if (kind == "/XYZ") {
        const Coordinates point = moved(matrix, {number(1), number(2)});
        Object zoom = arguments.size() > 3 ? arguments[3] : Object::newNull();
        return {arguments[0], numberOrNull(point.x), numberOrNull(point.y), zoom};
    }
    if (kind == "/FitR" && number(1) && number(2) && number(3) && number(4)) {
        const auto box = matrix.transformRectangle({*number(1), *number(2), *number(3), *number(4)});
        std::vector<Object> result = arrayOf({box.llx, box.lly, box.urx, box.ury}).getArrayAsVector();
        result.insert(result.begin(), arguments[0]);
        return result;
    }
    const bool isHorizontal = kind == "/FitH" || kind == "/FitBH";
    if (isHorizontal || kind == "/FitV" || kind == "/FitBV") {
        const Coordinates point = isHorizontal ? moved(matrix, {{}, number(1)}) : moved(matrix, {number(1), {}});
        const std::string prefix = kind.starts_with("/FitB") ? "/FitB" : "/Fit";
        if (point.x && !point.y)
            return {Object::newName(prefix + "V"), numberOrNull(point.x)};
        return {Object::newName(prefix + "H"), numberOrNull(point.y)};
    }
    return arguments;
}

/// The path that a file specification names, as text.
std::string pathNamedBy(Object specification)
{
    for (const char* const key : {"/UF", "/F"}) {
        Object value = valueOf(specification, key);
        if (value.isString())
            return value.getUTF8Value();
    }
    return specification.isString() ? specification.getUTF8Value() : std::string();
}

/// Whether a remote action leads to a document that is open as `other`. Paths in documents are compared as they stand:
/// asking the file system about them could mount a network drive.
bool leadsInto(SourceDocument& source, const std::string& name, SourceDocument& other)
{
    const auto beside = [&](const std::filesystem::path& file) {
        return (file.parent_path() / name).lexically_normal();
    };
    return beside(source.absoluteFile()) == other.absoluteFile()
        || beside(source.canonicalFile()) == other.canonicalFile();
}

/// The array that a destination comes down to, else null.
Object resolvedDestination(SourceDocument& source, Object value)
{
    // A name may stand for a dictionary, and careless writers let names stand for names.
    for (int step = 0; step < 8; ++step) {
        if (value.isName())
            value = source.namedDestination(value.getName().substr(1));
        else if (value.isString())
            value = source.namedDestination(value.getStringValue());
        else if (value.isDictionary())
            value = value.getKey("/D");
        else
            break;
    }
    return value.isArray() && value.getArrayNItems() > 0 ? value : Object::newNull();
}

/// The page that a destination array leads to.
std::optional<std::size_t> pageLedTo(SourceDocument& source, Object first)
{
    if (const std::optional<std::size_t> index = source.pageIndexOf(first))
        return index;
    // Page numbers belong in remote destinations, yet readers accept them anywhere.
    const std::optional<long long> number = first.isInteger() ? integerOf(first) : std::nullopt;
    return number && *number >= 0 ? std::optional(static_cast<std::size_t>(*number)) : std::nullopt;
}

void collectChain(Object action, std::vector<Object>& chain)
{
    std::set<QPDFObjGen> visited;
    ListsOnce lists;
    std::vector<Object> pending{action};
    while (!pending.empty() && chain.size() < chainLimit) {
        Object next = pending.back();
        pending.pop_back();
        if (next.isArray()) {
            const std::vector<Object> items = lists.itemsOf(next);
            const auto count = static_cast<std::ptrdiff_t>(std::min(items.size(), chainLimit));
            pending.insert(pending.end(), std::make_reverse_iterator(items.begin() + count), items.rend());
            continue;
        }
        if (!next.isDictionary() || (next.isIndirect() && !visited.insert(next.getObjGen()).second))
            continue;
        chain.push_back(next);
        pending.push_back(valueOf(next, "/Next"));
    }
}

} // namespace

LinkRewriter::LinkRewriter(Input& input, const std::vector<std::unique_ptr<Input>>& inputs)
    : m_input(input)
    , m_inputs(inputs)
{
}

Object LinkRewriter::destination(Object value)
{
    return destinationIn(m_input, value);
}

Object LinkRewriter::destinationIn(Input& input, Object value)
{
    Object array = resolvedDestination(input.source, value);
    return array.isNull() ? array : explicitDestination(input, itemsOf(array));
}

Object LinkRewriter::explicitDestination(Input& input, const std::vector<Object>& items)
{
    const std::optional<std::size_t> index = pageLedTo(input.source, items[0]);
    const PlacedPage* const target = index ? input.firstCopyOf(*index) : nullptr;
    if (!target)
        return Object::newNull();
    std::vector<Object> arguments;
    for (std::size_t position = 1; position < items.size(); ++position) {
        Object item = items[position];
        arguments.push_back(item.isScalar() ? item.shallowCopy() : Object::newNull());
    }
    if (arguments.empty())
        arguments.push_back(Object::newName("/Fit"));
    if (target->transform)
        arguments = movedArguments(*target->transform, arguments);
    arguments.insert(arguments.begin(), target->page);
    return Object::newArray(arguments);
}

Object LinkRewriter::remoteDestination(Object action)
{
    const std::string name = pathNamedBy(valueOf(action, "/F"));
    if (name.empty())
        return Object::newNull();
    for (const std::unique_ptr<Input>& other : m_inputs) {
        if (leadsInto(m_input.source, name, other->source))
            return destinationIn(*other, valueOf(action, "/D"));
    }
    return Object::newNull();
}

Object LinkRewriter::singleAction(Object action)
{
    const std::string kind = nameOf(action, "/S");
    if (kind == "/Thread")
        return Object::newNull(); // article threads are not copied
    Object target = Object::newNull();
    if (kind == "/GoTo")
        target = destination(valueOf(action, "/D"));
    else if (kind == "/GoToR")
        target = remoteDestination(action);
    if (target.isNull()) {
        if (kind == "/GoTo")
            return target;
        return m_input.copier.copyEntries(action, {"/Next"});
    }
    Object result = Object::newDictionary();
    result.replaceKey("/S", Object::newName("/GoTo"));
    result.replaceKey("/D", target);
    return result;
}

Object LinkRewriter::action(Object value)
{
    if (value.isArray())
        return Object::newNull(); // only an action that opens a document may be a destination; see the catalogue
    std::vector<Object> chain;
    collectChain(value, chain);
    Object result = Object::newNull();
    for (auto link = chain.rbegin(); link != chain.rend(); ++link) {
        Object single = singleAction(*link);
        if (single.isNull())
            continue;
        if (!result.isNull())
            single.replaceKey("/Next", result);
        result = single;
    }
    return result;
}

Object LinkRewriter::actionsByEvent(Object dictionary)
{
    Object result = Object::newDictionary();
    if (dictionary.isDictionary()) {
        for (const auto& [event, value] : dictionary.getDictAsMap())
            setUnlessEmpty(result, event, action(value));
    }
    return result;
}

bool LinkRewriter::actionLeadsSomewhere(Object value)
{
    std::vector<Object> chain;
    collectChain(value, chain);
    return std::any_of(chain.begin(), chain.end(), [&](const Object& single) {
        const std::string kind = nameOf(single, "/S");
        return kind == "/GoTo" ? !destination(valueOf(single, "/D")).isNull() : kind != "/Thread";
    });
}

bool LinkRewriter::leadsSomewhere(Object holder)
{
    Object target = valueOf(holder, "/Dest");
    if (!target.isNull())
        return !destination(target).isNull();
    return actionLeadsSomewhere(valueOf(holder, "/A"));
}

std::vector<std::size_t> pagesLedTo(SourceDocument& source, Object holder)
{
    std::vector<std::size_t> pages;
    const auto add = [&](Object destination) {
        Object array = resolvedDestination(source, destination);
        if (const auto page = array.isNull() ? std::nullopt : pageLedTo(source, array.getArrayItem(0)))
            pages.push_back(*page);
    };
    if (Object target = valueOf(holder, "/Dest"); !target.isNull()) {
        add(target);
        return pages;
    }
    std::vector<Object> chain;
    collectChain(valueOf(holder, "/A"), chain);
    for (const Object& action : chain) {
        const std::string kind = nameOf(action, "/S");
        if (kind == "/GoTo" || (kind == "/GoToR" && leadsInto(source, pathNamedBy(valueOf(action, "/F")), source)))
            add(valueOf(action, "/D"));
    }
    return pages;
}

bool LinkRewriter::hasTarget(Object holder)
{
    return !valueOf(holder, "/Dest").isNull() || !valueOf(holder, "/A").isNull();
}

} // namespace Pelgra::Documents
