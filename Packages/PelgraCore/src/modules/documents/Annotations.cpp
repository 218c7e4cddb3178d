#include "Annotations.h"

#include "ScaledPage.h"

#include <stdexcept>

namespace Pelgra::Documents {

namespace {

/// Whether readers draw something for a link: a frame, which it has unless it says otherwise, or a picture of its own.
bool isVisible(Object link)
{
    Object style = dictionaryOf(link, "/BS");
    const std::vector<Object> border = itemsOf(valueOf(link, "/Border"));
    double width = 1;
    if (style.isDictionary())
        width = numberOf(valueOf(style, "/W")).value_or(width);
    else if (border.size() > 2)
        width = numberOf(border[2]).value_or(width);
    return width > 0 || !dictionaryOf(link, "/AP").isNull();
}

/// A link that leads to no page and shows nothing. One that shows something stays, as a link to nowhere.
bool isDeadLink(Object annotation, LinkRewriter& links)
{
    return isNamed(annotation, "/Subtype", "/Link") && !links.leadsSomewhere(annotation) && !isVisible(annotation);
}

void fillAnnotation(Input& input, const PlacedPage& page, const PlacedAnnotation& annotation, LinkRewriter& links)
{
    Object source = annotation.source;
    Object copy = annotation.copy;
    const bool isWidget = isNamed(source, "/Subtype", "/Widget");
    for (const auto& [key, value] : source.getDictAsMap()) {
        const bool isFieldTree = isWidget && (key == "/Parent" || key == "/Kids");
        if (key == "/P" || isFieldTree)
            continue;
        if (key == "/Dest")
            setUnlessEmpty(copy, key, links.destination(value));
        else if (key == "/A" || key == "/PA")
            setUnlessEmpty(copy, key, links.action(value));
        else if (key == "/AA")
            setUnlessEmpty(copy, key, links.actionsByEvent(value));
        else if (key == "/StructParent")
            setUnlessEmpty(copy, key, input.structureKey(page, value));
        else
            copy.replaceKey(key, input.copier.copy(value));
    }
    copy.replaceKey("/P", page.page);
    if (page.transform)
        moveAnnotation(copy, page);
}

} // namespace

std::vector<PlacedAnnotation> placeAnnotations(Input& input, PlacedPage& page, LinkRewriter& links)
{
    std::vector<PlacedAnnotation> annotations;
    ObjectMap& places = input.placesToFillFor(page);
    Object list = valueOf(input.source.pages()[page.sourceIndex].object, "/Annots");
    if (list.isIndirect() && !page.isDuplicate && !input.annotationLists.insert(list.getObjGen()).second) {
        const auto count = list.isArray() ? static_cast<std::uint64_t>(list.getArrayNItems()) : 0;
        if (count > input.sharedAnnotationsLeft)
            throw std::runtime_error("too many annotations");
        input.sharedAnnotationsLeft -= count;
    }
    for (const Object& annotation : itemsOf(list)) {
        if (!Object(annotation).isDictionary() || isDeadLink(annotation, links))
            continue;
        Object copy = input.copier.output().makeIndirectObject(Object::newDictionary());
        // One that is listed twice, perhaps on two pages, is two from now on; references mean the first.
        if (Object(annotation).isIndirect())
            places.emplace(Object(annotation).getObjGen(), copy);
        annotations.push_back({annotation, copy});
    }
    return annotations;
}

void fillAnnotations(Input& input, const PlacedPage& page, const std::vector<PlacedAnnotation>& annotations,
                     LinkRewriter& links)
{
    input.copier.setPlaces(input.placesFor(page));
    Object list = Object::newArray();
    for (const PlacedAnnotation& annotation : annotations) {
        fillAnnotation(input, page, annotation, links);
        list.appendItem(annotation.copy);
    }
    Object owner = page.page;
    setUnlessEmpty(owner, "/Annots", list);
}

} // namespace Pelgra::Documents
