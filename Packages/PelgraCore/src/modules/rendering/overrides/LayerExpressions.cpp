#include "Override.h"

#include <cstring>

#include <mupdf/fitz.h>
#include <mupdf/pdf.h>

/// MuPDF knows which layers are shown, but not the expressions (/VE) by which content may depend on several of them.
/// This function stands between the interpreter of contents and the look-up of layers.
/// Made for MuPDF 1.21 and 1.25, which show everything that depends on an expression.
PELGRA_DECLARE_OVERRIDE(pdf_is_ocg_hidden, decltype(pdf_is_ocg_hidden))

namespace {

/// Content under deeper expressions, and those with more parts, counts as shown.
constexpr int deepestNesting = 32;
constexpr int mostParts = 10'000;

struct Evaluation {
    fz_context* context;
    pdf_document* document;
    pdf_obj* resources;
    const char* usage;
    int parts;
};

bool isShown(Evaluation* evaluation, pdf_obj* expression, int depth);

/// PDF 32000-1:2008, 8.11.2.2: an array of an operator and its operands, which are layers or expressions.
bool isTrue(Evaluation* evaluation, pdf_obj* expression, int depth)
{
    fz_context* const context = evaluation->context;
    const char* const name = pdf_to_name(context, pdf_array_get(context, expression, 0));
    const int count = pdf_array_len(context, expression);
    if (std::strcmp(name, "Not") == 0)
        return count < 2 || !isShown(evaluation, pdf_array_get(context, expression, 1), depth);
    const bool isOr = std::strcmp(name, "Or") == 0;
    if (!isOr && std::strcmp(name, "And") != 0)
        return true;
    for (int index = 1; index < count; ++index) {
        if (isShown(evaluation, pdf_array_get(context, expression, index), depth) == isOr)
            return isOr;
    }
    return !isOr;
}

bool isShown(Evaluation* evaluation, pdf_obj* expression, int depth)
{
    fz_context* const context = evaluation->context;
    if (depth > deepestNesting || ++evaluation->parts > mostParts)
        return true;
    if (pdf_is_array(context, expression))
        return isTrue(evaluation, expression, depth + 1);
    return PELGRA_OVERRIDDEN(pdf_is_ocg_hidden)(context, evaluation->document, evaluation->resources, evaluation->usage,
                                                expression)
        == 0;
}

} // namespace

int PELGRA_OVERRIDE(pdf_is_ocg_hidden)(fz_context* context, pdf_document* document, pdf_obj* resources,
                                       const char* usage, pdf_obj* layer)
{
    pdf_obj* named = layer;
    if (pdf_is_name(context, layer))
        named = pdf_dict_get(context, pdf_dict_get(context, resources, PDF_NAME(Properties)), layer);
    pdf_obj* const expression = pdf_dict_gets(context, named, "VE");
    if (!pdf_is_array(context, expression) || pdf_array_len(context, expression) < 2)
        return PELGRA_OVERRIDDEN(pdf_is_ocg_hidden)(context, document, resources, usage, layer);
    Evaluation evaluation = {context, document, resources, usage, 0};
    return isShown(&evaluation, expression, 0) ? 0 : 1;
}
