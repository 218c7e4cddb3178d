#pragma once

#include "FormFields.h"
#include "PelgraCore/JobControl.h"

#include "files/ByteSink.h"

namespace Pelgra::Documents {

/// What becomes of a page.
struct PageRequest {
    std::size_t sourceIndex = 0;
    /// The rotation of the copy in degrees; absent means that of the source, as it is written there.
    std::optional<int> rotation;
    double scale = 1;
};

/// Puts a document together: inputs with their pages first, then everything that connects pages, then the rest.
class Assembly {
public:
    /// Whether the output is one of the many parts of a document, which then keeps what belongs to its pages only.
    enum class Kind { whole, part };

    explicit Assembly(Kind kind);

    /// The source must outlive the assembly. A source added twice shares its objects.
    Input& addInput(SourceDocument& source);

    /// Copies pages to the end. Calls pageDone after each.
    void addPages(Input& input, const std::vector<PageRequest>& requests, const std::function<void()>& pageDone);

    /// Connects the pages and fills the catalogue. Nothing may be added later.
    void finish();

    void write(ByteSink& sink, const std::stop_token& stop);

private:
    void fillPage(Input& input, PlacedPage& page, const PageRequest& request);
    Object resourcesFor(Input& input, std::size_t sourceIndex);
    Object contentsFor(Input& input, Object contents);
    void scale(Input& input, PlacedPage& page, const PageRequest& request);
    void connectPages();
    void listPages();

    Kind m_kind;
    QPDF m_output;
    std::map<SourceDocument*, std::unique_ptr<ObjectCopier>> m_copiers;
    std::vector<std::unique_ptr<Input>> m_inputs;
    FormFields m_fields;
    /// The latest resources that pages inherit and that are not an object of their own, and their copy.
    std::pair<Object, Object> m_inheritedResources;
    /// Lists of content streams in the output, by the list of the source.
    std::map<std::pair<SourceDocument*, QPDFObjGen>, Object> m_contentLists;
    long long m_nextStructureKey = 0;
};

} // namespace Pelgra::Documents
