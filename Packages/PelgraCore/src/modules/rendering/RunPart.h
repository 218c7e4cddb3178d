#pragma once

#include <mupdf/fitz.h>
#include <mupdf/pdf.h>

namespace Pelgra::Rendering {

using RunPage = void (*)(fz_context*, pdf_page*, fz_device*, fz_matrix, fz_cookie*);

/// Runs a part of a page (its contents, annotations or form fields) through a device. False when memory ran out. Any
/// other fault leaves out what follows it in that part, as viewers do.
bool runPart(fz_context* context, RunPage run, pdf_page* page, fz_device* device, fz_matrix matrix,
             fz_cookie* cookie) noexcept;

} // namespace Pelgra::Rendering
