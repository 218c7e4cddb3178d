#pragma once

#include <mupdf/fitz.h>
#include <mupdf/pdf.h>

namespace Pelgra::Rendering {

/// More pages than any document has; a tree may name one page any number of times.
inline constexpr int pageCountLimit = 1'000'000;

/// Walks the page tree and returns how many pages it really holds, or -1 when that fails. Where the counts the tree
/// claims are wrong, or branches lead in a circle, a flat tree of the pages found takes its place in memory, so that
/// page numbers mean the same to MuPDF as here.
int settlePageTree(fz_context* context, pdf_document* document) noexcept;

} // namespace Pelgra::Rendering
