#pragma once

#include <cstdint>

#include <mupdf/fitz.h>
#include <mupdf/pdf.h>

namespace Pelgra::Rendering {

/// What a walk through the page tree found.
struct FoundPages {
    int count = 0; ///< -1 where the walk failed
    int emptyEntries = 0; ///< entries of the tree that lead to nothing
    long long claimed = 0; ///< what the root says there are, where all were looked for
    bool isListLost = false; ///< there is no tree; the page objects of the file are taken in their order
};

/// Walks the page tree until the pages needed are found. Where the counts the tree claims are wrong, or branches lead
/// in a circle, a flat tree of the pages found takes its place in memory, so that page numbers mean the same to MuPDF
/// as here. Cross references are rebuilt where pages are missing with those the document has.
FoundPages settlePageTree(fz_context* context, pdf_document* document, int pagesNeeded) noexcept;

/// Whether a reference of a page to its contents, or to a picture, form or font, leads to nothing or to a stream that
/// the end of the file cuts off.
bool hasLostSomething(fz_context* context, pdf_document* document, int pageIndex, std::int64_t fileSize) noexcept;

} // namespace Pelgra::Rendering
