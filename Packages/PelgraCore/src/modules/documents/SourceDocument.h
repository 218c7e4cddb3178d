#pragma once

#include "PageTree.h"
#include "PelgraCore/RasterImage.h"

#include <qpdf/PDFVersion.hh>

#include <filesystem>
#include <memory>

namespace Pelgra::Documents {

/// A document that pages are taken from. Never changed, so any number of outputs may be made of it.
class SourceDocument {
public:
    /// Opens with the empty password and repairs a damaged cross-reference table. Throws EngineError::unreadable, also
    /// where the document says it has pages and none is there.
    explicit SourceDocument(const std::filesystem::path& file);
    SourceDocument(const SourceDocument&) = delete;
    SourceDocument& operator=(const SourceDocument&) = delete;

    const std::filesystem::path& file() const { return m_file; }
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

private:
    void open(const std::filesystem::path& file);
    /// Opens a file by the catalogue object that stands in it, with cross references made anew: one that has lost its
    /// trailer, or whose table leads to fewer pages than there are. Keeps what is open where that finds no more pages.
    void openWithoutTables();
    void readNamedDestinations();

    std::filesystem::path m_file;
    Bytes m_bytes; ///< what the document reads from, if it was read into memory
    std::unique_ptr<QPDF> m_document;
    PageTree m_tree;
    std::map<QPDFObjGen, std::size_t> m_pageIndexes;
    /// How many pages list an object as resources; counted when first needed.
    std::optional<std::map<QPDFObjGen, int>> m_resourceUsers;
    std::optional<std::map<std::string, Object>> m_namedDestinations; ///< read when first asked for
};

} // namespace Pelgra::Documents
