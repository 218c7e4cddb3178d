#pragma once

#include "files/ByteSink.h"
#include "modules/PageLosses.h"
#include "PelgraCore/JobControl.h"
#include "PelgraCore/Models.h"

#include <filesystem>
#include <memory>
#include <span>

namespace Pelgra {

/// A document put together from others, ready to be written once. Keeps its sources open until it is destroyed.
class AssembledDocument {
public:
    virtual ~AssembledDocument() = default;

    /// Throws what the sink throws, JobCancelled, or std::exception when a source only now turns out to be unreadable.
    virtual void write(ByteSink& sink) = 0;
};

/// A document open for being taken apart. Not to be used from two threads at once; open one for each thread.
class PageSplitter {
public:
    virtual ~PageSplitter() = default;

    /// The pages that the page tree really holds, whatever count the file claims.
    virtual int pageCount() const = 0;

    /// What the document has lost of its pages.
    virtual PageLosses losses() const = 0;

    /// Writes a document of that page (from 0) alone. Throws as AssembledDocument::write, and unreadable(file) for a
    /// page that is not there.
    virtual void writePage(int pageIndex, ByteSink& sink) = 0;
};

/// Copies pages between PDF documents. Pages are never drawn anew: their content streams travel byte for byte.
/// All functions may be called from several threads at once; they throw EngineError and JobCancelled. A document that
/// says it has pages of which none is there is unreadable; where some are, they are used.
struct DocumentsModule {
    static constexpr const char* name = "documents";

    /// All pages of the files in order. Throws unreadable(file) and noPages. control.progress counts pages, and
    /// control.warning tells what a file has lost.
    std::unique_ptr<AssembledDocument> (*merge)(std::span<const std::filesystem::path> files,
                                                const JobControl& control);

    /// Throws unreadable(file) and pageOutOfRange(index). control.progress counts pages, and control.warning tells what
    /// the file has lost.
    std::unique_ptr<AssembledDocument> (*organize)(const std::filesystem::path& file, std::span<const PageEdit> pages,
                                                   bool uniformWidth, const JobControl& control);

    /// Throws unreadable(file).
    std::unique_ptr<PageSplitter> (*split)(const std::filesystem::path& file);
};

} // namespace Pelgra
