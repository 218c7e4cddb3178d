#pragma once

#include "files/FileBytes.h"
#include "files/UniqueDescriptor.h"
#include "PageTree.h"
#include "PelgraCore/RasterImage.h"

#include <qpdf/PDFVersion.hh>

#include <filesystem>
#include <memory>

namespace Pelgra::Documents {

/// The layers of a document in the order of its list.
struct LayerIndex {
    std::vector<Object> layers;
    std::vector<bool> isHidden; ///< when the document is opened
    std::map<QPDFObjGen, std::size_t> positions;
};

class OutlineIndex;

/// A document that pages are taken from. Never changed, so any number of outputs may be made of it.
class SourceDocument {
public:
    /// Opens with the empty password and repairs a damaged cross-reference table. Throws EngineError::unreadable, also
    /// where the document says it has pages and none is there.
    explicit SourceDocument(const std::filesystem::path& file);
    SourceDocument(const SourceDocument&) = delete;
    SourceDocument& operator=(const SourceDocument&) = delete;
    ~SourceDocument();

    const std::filesystem::path& file() const { return m_file; }
    /// The same from the root of the file system, without dots; and besides with links followed.
    const std::filesystem::path& absoluteFile() const { return m_places.absolute; }
    const std::filesystem::path& canonicalFile() const { return m_places.canonical; }
    /// In bytes, as it was when the document was opened.
    std::uint64_t size() const { return m_size; }
    /// Throws EngineError::unreadable where the file has become shorter since, so that what was copied from it may lack
    /// what stood there.
    void checkComplete() const;
    QPDF& document() { return *m_document; }
    Object catalog() { return m_document->getRoot(); }
    /// The format's version that the document asks for.
    PDFVersion version();
    const std::vector<SourcePage>& pages() const { return m_tree.pages; }
    const PageLosses& losses() const { return m_tree.losses; }

    /// Whether a page lists resources that it shares with others, or so many that it hardly uses all of them.
    bool mayListUnusedResources(std::size_t pageIndex);

    /// The first place (from 0) at which the page tree holds this page object.
    std::optional<std::size_t> pageIndexOf(Object page) const;

    /// What a named destination stands for (an array or a dictionary with /D), else null.
    Object namedDestination(const std::string& name);

    /// What follows is worked out when first asked for, so that a document of many pages is not gone through for each.

    /// The dictionaries of page labels by the index of the first page they hold for.
    const std::map<long long, Object>& pageLabels();
    const LayerIndex& layers();
    OutlineIndex& outline();
    /// The packet of metadata as it goes into outputs, compressed (FlateDecode); empty where there is none.
    const std::string& metadata();
    /// The first position of each indirect object in a list: an array under a key of an object, or of the form.
    const std::map<QPDFObjGen, std::size_t>& positionsIn(Object owner, const char* key);

private:
    void open(const std::filesystem::path& file);
    /// Opens a file by this catalogue object that stands in it ("12 0", empty for none), with cross references made
    /// anew: one that has lost its trailer, whose table leads to fewer pages than there are, or whose list of pages the
    /// library has mended. Keeps what is open where that tells of no more pages, found or missing.
    void openWithoutTables(const std::string& catalog);
    std::string_view text() const;
    void readNamedDestinations();

    std::filesystem::path m_file;
    FilePlaces m_places;
    UniqueDescriptor m_descriptor; ///< of a file that is not in memory
    std::uint64_t m_size = 0;
    Bytes m_bytes; ///< what the document reads from, if it was read into memory
    std::unique_ptr<QPDF> m_document;
    PageTree m_tree;
    std::map<QPDFObjGen, std::size_t> m_pageIndexes;
    struct ResourceUse {
        int users = 0; ///< pages that list the object as resources
        bool isLong = false;
    };
    std::optional<std::map<QPDFObjGen, ResourceUse>> m_resourceUse; ///< counted when first needed
    std::optional<std::map<std::string, Object>> m_namedDestinations;
    std::optional<std::map<long long, Object>> m_pageLabels;
    std::optional<LayerIndex> m_layers;
    std::unique_ptr<OutlineIndex> m_outline;
    std::optional<std::string> m_metadata;
    std::map<std::pair<QPDFObjGen, std::string>, std::map<QPDFObjGen, std::size_t>> m_positions;
};

} // namespace Pelgra::Documents
