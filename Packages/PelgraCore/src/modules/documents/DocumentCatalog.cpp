#include "DocumentCatalog.h"

#include "Layers.h"
#include "Metadata.h"
#include "NamedObjects.h"
#include "Outlines.h"
#include "PageLabels.h"
#include "StructureTree.h"

#include <qpdf/QUtil.hh>

#include <algorithm>

namespace Pelgra::Documents {

namespace {

using Inputs = std::vector<std::unique_ptr<Input>>;

void addNames(Object catalog, const Inputs& inputs, const CatalogOptions& options)
{
    Object names = Object::newDictionary();
    // What is attached to the document goes with its first page, or every part would carry it.
    const bool hasFirstPage = inputs.front()->firstCopyOf(0) != nullptr;
    if (!options.isPart || hasFirstPage) {
        setUnlessEmpty(names, "/EmbeddedFiles", combinedAttachments(inputs));
        setUnlessEmpty(catalog, "/AF", combinedAssociatedFiles(inputs));
    }
    if (!options.isPart || catalog.hasKey("/AcroForm"))
        setUnlessEmpty(names, "/JavaScript", combinedScripts(inputs));
    setUnlessEmpty(catalog, "/Names", names);
}

/// How a reader is to open the document.
void addViewing(Object catalog, Input& first, const Inputs& inputs, const CatalogOptions& options)
{
    Object source = first.source.catalog();
    LinkRewriter links(first, inputs);
    first.copier.setPlaces({&first.places});
    for (const char* const key :
         {"/Lang", "/ViewerPreferences", "/PageLayout", "/PageMode", "/OutputIntents", "/Extensions"})
        setUnlessEmpty(catalog, key, first.copier.copy(valueOf(source, key)));
    if (!options.isPart && inputs.size() == 1)
        setUnlessEmpty(catalog, "/Collection", first.copier.copy(valueOf(source, "/Collection")));
    Object opening = valueOf(source, "/OpenAction");
    if (isNamed(opening, "/S", "/GoTo") || opening.isArray() || opening.isString() || opening.isName()) {
        Object target = links.destination(opening.isDictionary() ? valueOf(opening, "/D") : opening);
        setUnlessEmpty(catalog, "/OpenAction", target);
    } else if (opening.isDictionary()) {
        setUnlessEmpty(catalog, "/OpenAction", links.action(opening));
    }
    setUnlessEmpty(catalog, "/AA", links.actionsByEvent(valueOf(source, "/AA")));
    Object names = dictionaryOf(catalog, "/Names");
    const bool wantsMissingPanel = (isNamed(catalog, "/PageMode", "/UseOutlines") && !catalog.hasKey("/Outlines"))
        || (isNamed(catalog, "/PageMode", "/UseAttachments") && valueOf(names, "/EmbeddedFiles").isNull())
        || (isNamed(catalog, "/PageMode", "/UseOC") && !catalog.hasKey("/OCProperties"));
    if (wantsMissingPanel)
        catalog.removeKey("/PageMode");
}

std::string now()
{
    return QUtil::qpdf_time_to_pdf_time(QUtil::get_current_qpdf_time());
}

/// The first document's own description for its pages; only the title for a document made of several.
void addInformation(QPDF& output, Input& first, bool isFromOne)
{
    Object source = dictionaryOf(first.source.document().getTrailer(), "/Info");
    Object information = Object::newDictionary();
    if (isFromOne && !source.isNull())
        information = first.copier.copyEntries(source, {});
    else if (Object title = valueOf(source, "/Title"); title.isString())
        information.replaceKey("/Title", title.shallowCopy());
    information.replaceKey("/Creator", Object::newString("Pelgra"));
    if (!isFromOne)
        information.replaceKey("/CreationDate", Object::newString(now()));
    information.replaceKey("/ModDate", Object::newString(now()));
    output.getTrailer().replaceKey("/Info", output.makeIndirectObject(information));
}

void addStructure(Object catalog, const Inputs& inputs, QPDF& output)
{
    Object structure = combinedStructure(inputs, output);
    if (structure.isNull())
        return;
    catalog.replaceKey("/StructTreeRoot", structure);
    for (const std::unique_ptr<Input>& input : inputs) {
        Object mark = dictionaryOf(input->source.catalog(), "/MarkInfo");
        if (!mark.isNull() && !catalog.hasKey("/MarkInfo"))
            catalog.replaceKey("/MarkInfo", input->copier.copyEntries(mark, {}));
    }
}

} // namespace

void fillCatalog(QPDF& output, const Inputs& inputs, const CatalogOptions& options)
{
    Input& first = *inputs.front();
    Object catalog = output.getRoot();
    addStructure(catalog, inputs, output);
    setUnlessEmpty(catalog, "/Outlines", combinedOutline(inputs, !options.isPart, output));
    setUnlessEmpty(catalog, "/PageLabels", combinedPageLabels(inputs));
    addNames(catalog, inputs, options);
    addViewing(catalog, first, inputs, options);
    addInformation(output, first, inputs.size() == 1);
    setUnlessEmpty(catalog, "/Metadata", copyMetadata(output, first.source.metadata()));
    setUnlessEmpty(catalog, "/OCProperties", combinedLayers(inputs));
}

} // namespace Pelgra::Documents
