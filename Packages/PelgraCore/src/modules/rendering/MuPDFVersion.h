#pragma once

#include <mupdf/fitz.h>
#include <mupdf/pdf.h>

#define PELGRA_MUPDF_IS_AT_LEAST(major, minor)                                                                         \
    (FZ_VERSION_MAJOR > (major) || (FZ_VERSION_MAJOR == (major) && FZ_VERSION_MINOR >= (minor)))

/// Where MuPDF 1.21 (Debian 12) and 1.25 (Debian 13) differ.
namespace Pelgra::Rendering {

/// The visible box of a page.
inline fz_rect boundsOf(fz_context* context, pdf_page* page)
{
#if PELGRA_MUPDF_IS_AT_LEAST(1, 25)
    return pdf_bound_page(context, page, FZ_CROP_BOX);
#else
    return pdf_bound_page(context, page);
#endif
}

/// In fz_catch: whether memory ran out.
inline bool isOutOfMemory(fz_context* context)
{
#if PELGRA_MUPDF_IS_AT_LEAST(1, 25)
    return fz_caught(context) == FZ_ERROR_SYSTEM;
#else
    return fz_caught(context) == FZ_ERROR_MEMORY;
#endif
}

/// Has pages looked for one at a time, as 1.21 does. At the first look 1.25 lists them all, which takes reading every
/// page and as much memory as the document claims to need.
inline void lookForPagesSingly([[maybe_unused]] pdf_document* document)
{
#if PELGRA_MUPDF_IS_AT_LEAST(1, 25)
    document->page_tree_broken = 1;
#endif
}

/// How the library's own conversion of colours, known to no header, begins.
struct ConverterStart {
    void* convert;
    void* convertVia;
    const fz_colorspace* to;
#if PELGRA_MUPDF_IS_AT_LEAST(1, 25)
    const void* separations;
    int componentsOfTo;
#endif
    const fz_colorspace* from;
};

} // namespace Pelgra::Rendering
