#include "Assembly.h"

#include "DocumentCatalog.h"
#include "PageContent.h"
#include "ScaledPage.h"
#include "SinkPipeline.h"
#include "StructureTree.h"

#include <qpdf/QPDFWriter.hh>

namespace Pelgra::Documents {

namespace {

bool takesEveryPage(const SourceDocument& source, const std::vector<PageRequest>& requests)
{
    std::set<std::size_t> taken;
    for (const PageRequest& request : requests)
        taken.insert(request.sourceIndex);
    return taken.size() == source.pages().size();
}

} // namespace

Assembly::Assembly(Kind kind)
    : m_kind(kind)
{
    m_output.setSuppressWarnings(true);
    m_output.emptyPDF();
}

Input& Assembly::addInput(SourceDocument& source)
{
    std::unique_ptr<ObjectCopier>& copier = m_copiers[&source];
    const bool isNew = !copier;
    if (isNew)
        copier = std::make_unique<ObjectCopier>(m_output);
    Input& input = *m_inputs.emplace_back(std::make_unique<Input>(source, *copier));
    // Finding out which parts of the structure belong to a page means reading all of it, too slow to do for every page.
    const std::optional<long long> keys = m_kind == Kind::whole ? structureKeyCount(source) : std::nullopt;
    if (keys) {
        input.structureOffset = m_nextStructureKey;
        m_nextStructureKey += *keys;
        if (isNew)
            copier->setStructureOffset(input.structureOffset);
    }
    return input;
}

void Assembly::addPages(Input& input, const std::vector<PageRequest>& requests, const std::function<void()>& pageDone)
{
    // All pages get their places first, so that whatever is copied can refer to any of them.
    input.pages.reserve(requests.size());
    for (const PageRequest& request : requests) {
        PlacedPage& page = input.pages.emplace_back();
        page.sourceIndex = request.sourceIndex;
        page.page = m_output.makeIndirectObject(Object::newDictionary());
        page.isDuplicate = !input.firstCopies.emplace(request.sourceIndex, input.pages.size() - 1).second;
        Object source = input.source.pages()[request.sourceIndex].object;
        if (source.isIndirect())
            input.placesToFillFor(page).emplace(source.getObjGen(), page.page);
    }
    input.copier.setPrunesResources(!takesEveryPage(input.source, requests));
    for (std::size_t index = 0; index < requests.size(); ++index) {
        fillPage(input, input.pages[index], requests[index]);
        pageDone();
    }
}

void Assembly::fillPage(Input& input, PlacedPage& page, const PageRequest& request)
{
    const SourcePage& source = input.source.pages()[page.sourceIndex];
    input.copier.setPlaces(input.placesFor(page));
    // Beads belong to article threads, which are not copied; the others are set here or when pages are connected.
    Object entries =
        input.copier.copyEntries(source.object,
                                 {"/Parent", "/Kids", "/Count", "/Annots", "/B", "/Resources", "/MediaBox", "/CropBox",
                                  "/Rotate", "/AA", "/StructParents", "/SeparationInfo", "/PresSteps", "/Contents"});
    for (const auto& [key, value] : entries.getDictAsMap())
        page.page.replaceKey(key, value);
    page.page.replaceKey("/Type", Object::newName("/Page"));
    page.page.replaceKey("/Resources", resourcesFor(input, page.sourceIndex));
    const bool hasMediaBox = rectangleOf(source.mediaBox).has_value();
    page.page.replaceKey("/MediaBox", hasMediaBox ? input.copier.copy(source.mediaBox) : arrayOf({0, 0, 612, 792}));
    setUnlessEmpty(page.page, "/CropBox", input.copier.copy(source.cropBox));
    if (request.rotation && *request.rotation != 0)
        page.page.replaceKey("/Rotate", Object::newInteger(*request.rotation));
    else if (!request.rotation)
        setUnlessEmpty(page.page, "/Rotate", input.copier.copy(source.rotate));
    if (request.scale < 1)
        scale(input, page, request);
    else
        setUnlessEmpty(page.page, "/Contents", contentsFor(input, valueOf(source.object, "/Contents")));
}

Object Assembly::resourcesFor(Input& input, std::size_t sourceIndex)
{
    const SourcePage& source = input.source.pages()[sourceIndex];
    Object resources = source.resources;
    if (!resources.isDictionary())
        return Object::newDictionary();
    const bool isShared = !resources.isIndirect() && valueOf(source.object, "/Resources").isNull();
    if (input.copier.prunesResources() && input.source.mayListUnusedResources(sourceIndex)) {
        const std::vector<Object> contents = contentStreamsOf(valueOf(source.object, "/Contents"));
        return input.copier.copyResources(resources, namesUsedBy(contents, resources));
    }
    if (!isShared)
        return input.copier.copy(resources);
    if (!m_inheritedResources.first.isInitialized() || !m_inheritedResources.first.isSameObjectAs(resources))
        m_inheritedResources = {resources, m_output.makeIndirectObject(input.copier.copy(resources))};
    return m_inheritedResources.second;
}

/// The content streams; whatever else stands there is left out. A long list that pages share stays one.
Object Assembly::contentsFor(Input& input, Object contents)
{
    constexpr int longList = 16;
    const bool mayBeShared = contents.isArray() && contents.isIndirect() && contents.getArrayNItems() > longList;
    const auto key = std::pair(&input.source, contents.getObjGen());
    if (const auto known = m_contentLists.find(key); mayBeShared && known != m_contentLists.end())
        return known->second;
    std::vector<Object> streams = contentStreamsOf(contents);
    for (Object& stream : streams)
        stream = input.copier.copy(stream);
    if (contents.isStream())
        return streams.front();
    Object list = Object::newArray(streams);
    if (mayBeShared)
        list = m_contentLists[key] = m_output.makeIndirectObject(list);
    return list;
}

void Assembly::scale(Input& input, PlacedPage& page, const PageRequest& request)
{
    const SourcePage& source = input.source.pages()[page.sourceIndex];
    Object form = contentAsOneStream(input.copier, valueOf(source.object, "/Contents"));
    scalePage(page, form, source.box(), request.rotation.value_or(snappedRotation(source.rotation())), request.scale,
              m_output);
}

void Assembly::connectPages()
{
    struct Connection {
        Input* input;
        PlacedPage* page;
        std::vector<PlacedAnnotation> annotations;
    };
    std::vector<Connection> connections;
    for (const std::unique_ptr<Input>& input : m_inputs) {
        LinkRewriter links(*input, m_inputs);
        for (PlacedPage& page : input->pages) {
            connections.push_back({input.get(), &page, placeAnnotations(*input, page, links)});
            m_fields.place(*input, page, connections.back().annotations);
        }
        if (m_kind == Kind::whole)
            m_fields.placeHidden(*input);
    }
    for (const Connection& connection : connections) {
        LinkRewriter links(*connection.input, m_inputs);
        fillAnnotations(*connection.input, *connection.page, connection.annotations, links);
        Object source = connection.input->source.pages()[connection.page->sourceIndex].object;
        setUnlessEmpty(connection.page->page, "/AA", links.actionsByEvent(valueOf(source, "/AA")));
        PlacedPage& page = *connection.page;
        setUnlessEmpty(page.transform ? page.form.getDict() : page.page, "/StructParents",
                       connection.input->structureKey(*connection.page, valueOf(source, "/StructParents")));
    }
}

void Assembly::listPages()
{
    Object tree = m_output.getRoot().getKey("/Pages");
    Object kids = Object::newArray();
    for (const std::unique_ptr<Input>& input : m_inputs) {
        for (PlacedPage& page : input->pages) {
            page.page.replaceKey("/Parent", tree);
            kids.appendItem(page.page);
        }
    }
    tree.replaceKey("/Kids", kids);
    tree.replaceKey("/Count", Object::newInteger(kids.getArrayNItems()));
}

void Assembly::finish()
{
    const bool isWhole = m_inputs.size() == 1 && m_inputs.front()->isComplete();
    connectPages();
    listPages();
    m_fields.finish(m_output.getRoot(), m_inputs, isWhole);
    fillCatalog(m_output, m_inputs, {m_kind == Kind::part, isWhole});
}

void Assembly::write(ByteSink& sink, const std::stop_token& stop)
{
    SinkPipeline pipeline(sink, stop);
    QPDFWriter writer(m_output);
    writer.setOutputPipeline(&pipeline);
    writer.setObjectStreamMode(qpdf_o_generate);
    for (const std::unique_ptr<Input>& input : m_inputs)
        writer.setMinimumPDFVersion(input->source.version());
    writer.write();
    pipeline.rethrowFailure();
}

} // namespace Pelgra::Documents
