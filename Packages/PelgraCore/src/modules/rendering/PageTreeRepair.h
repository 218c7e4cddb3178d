#pragma once

#include <mupdf/fitz.h>
#include <mupdf/pdf.h>

namespace Pelgra::Rendering {

/// Walks the page tree until the pages needed are found, and returns how many of them there really are, or -1 when that
/// fails. Where the counts in the tree are wrong, or branches lead in a circle, a flat tree of the pages found takes
/// its place in memory, so that page numbers mean the same to MuPDF as here.
int settlePageTree(fz_context* context, pdf_document* document, int pagesNeeded) noexcept;

} // namespace Pelgra::Rendering
