#include "PageTreeRepair.h"

#include <cstddef>

namespace Pelgra::Rendering {

namespace {

/// A branch of the tree on the way down.
struct Branch {
    pdf_obj* node;
    pdf_obj* kids;
    int next; ///< index of the kid to visit
    int found; ///< pages below so far
};

/// The walk keeps its own stack: a tree nested a million deep must not overflow the thread's. Everything it holds is
/// plain data, since the library jumps out of its functions.
struct Walk {
    fz_context* context;
    pdf_document* document;
    Branch* branches;
    int depth;
    int capacity;
    pdf_mark_bits* visited;
    pdf_obj* pages; ///< an array
    int pagesNeeded;
    int emptyEntries;
    bool isAsClaimed;
};

bool isBranch(fz_context* context, pdf_obj* node)
{
    return pdf_is_array(context, pdf_dict_get(context, node, PDF_NAME(Kids)))
        && !pdf_name_eq(context, pdf_dict_get(context, node, PDF_NAME(Type)), PDF_NAME(Page));
}

/// How MuPDF tells branches from pages, which must agree for its own look-up to be usable.
bool isBranchToLibrary(fz_context* context, pdf_obj* node)
{
    pdf_obj* const type = pdf_dict_get(context, node, PDF_NAME(Type));
    if (type)
        return pdf_name_eq(context, type, PDF_NAME(Pages)) != 0;
    return pdf_dict_get(context, node, PDF_NAME(Kids)) && !pdf_dict_get(context, node, PDF_NAME(MediaBox));
}

void enter(Walk* walk, pdf_obj* node)
{
    fz_context* const context = walk->context;
    pdf_obj* const kids = pdf_dict_get(context, node, PDF_NAME(Kids));
    // The list too: where many branches share one, it would be gone through for each of them.
    if ((pdf_is_indirect(context, node) && pdf_mark_bits_set(context, walk->visited, node))
        || (pdf_is_indirect(context, kids) && pdf_mark_bits_set(context, walk->visited, kids))) {
        walk->isAsClaimed = false;
        return;
    }
    if (walk->depth == walk->capacity) {
        const int capacity = walk->capacity * 2 + 16;
        walk->branches = static_cast<Branch*>(
            fz_realloc(context, walk->branches, static_cast<std::size_t>(capacity) * sizeof(Branch)));
        walk->capacity = capacity;
    }
    walk->branches[walk->depth++] = {node, kids, 0, 0};
}

void leave(Walk* walk)
{
    const Branch branch = walk->branches[--walk->depth];
    if (pdf_dict_get_int(walk->context, branch.node, PDF_NAME(Count)) != branch.found)
        walk->isAsClaimed = false;
    if (walk->depth > 0)
        walk->branches[walk->depth - 1].found += branch.found;
}

void visit(Walk* walk, pdf_obj* kid)
{
    fz_context* const context = walk->context;
    if (!pdf_is_dict(context, kid)) {
        ++walk->emptyEntries;
        walk->isAsClaimed = false;
        return;
    }
    if (isBranch(context, kid) != isBranchToLibrary(context, kid))
        walk->isAsClaimed = false;
    if (isBranch(context, kid)) {
        enter(walk, kid);
        return;
    }
    if (pdf_name_eq(context, pdf_dict_get(context, kid, PDF_NAME(Type)), PDF_NAME(Pages))) { // without kids
        walk->isAsClaimed = false;
        return;
    }
    pdf_array_push(context, walk->pages, kid);
    ++walk->branches[walk->depth - 1].found;
}

/// Whether the branches that the walk was in when it had all its pages lead to them by the counts they claim.
bool leadToPages(const Walk* walk)
{
    int found = 0;
    for (int level = walk->depth - 1; level >= 0; --level) {
        const Branch& branch = walk->branches[level];
        found += branch.found;
        if (pdf_dict_get_int(walk->context, branch.node, PDF_NAME(Count)) < found)
            return false;
    }
    return true;
}

void walkFrom(Walk* walk, pdf_obj* root)
{
    enter(walk, root);
    while (walk->depth > 0) {
        if (pdf_array_len(walk->context, walk->pages) >= walk->pagesNeeded) {
            if (!leadToPages(walk))
                walk->isAsClaimed = false;
            return;
        }
        Branch& branch = walk->branches[walk->depth - 1];
        if (branch.next < pdf_array_len(walk->context, branch.kids))
            visit(walk, pdf_array_get(walk->context, branch.kids, branch.next++));
        else
            leave(walk);
    }
}

/// Hangs the pages found directly under a new root.
void flatten(Walk* walk, pdf_obj* catalog)
{
    fz_context* const context = walk->context;
    const int count = pdf_array_len(context, walk->pages);
    for (int index = 0; index < count; ++index) {
        pdf_obj* const page = pdf_array_get(context, walk->pages, index);
        pdf_dict_put(context, page, PDF_NAME(Type), PDF_NAME(Page));
        if (!pdf_is_indirect(context, page))
            pdf_array_put_drop(context, walk->pages, index, pdf_add_object(context, walk->document, page));
    }
    pdf_obj* const root = pdf_dict_put_dict(context, catalog, PDF_NAME(Pages), 3);
    pdf_dict_put(context, root, PDF_NAME(Type), PDF_NAME(Pages));
    pdf_dict_put_int(context, root, PDF_NAME(Count), count);
    pdf_dict_put(context, root, PDF_NAME(Kids), walk->pages);
}

/// Takes whatever says it is a page, by its number in the file.
void collectPages(Walk* walk)
{
    fz_context* const context = walk->context;
    pdf_obj* object = nullptr;
    fz_var(object);
    fz_try(context)
    {
        const int end = pdf_xref_len(context, walk->document);
        for (int number = 1; number < end; ++number) {
            object = pdf_new_indirect(context, walk->document, number, 0);
            if (pdf_name_eq(context, pdf_dict_get(context, object, PDF_NAME(Type)), PDF_NAME(Page)))
                pdf_array_push(context, walk->pages, object);
            pdf_drop_obj(context, object);
            object = nullptr;
        }
    }
    fz_always(context)
    {
        pdf_drop_obj(context, object);
    }
    fz_catch(context)
    {
        // An object that cannot be read; those before it count.
    }
    walk->isAsClaimed = false;
}

FoundPages settleOnce(fz_context* context, pdf_document* document, int pagesNeeded) noexcept
{
    Walk walk = {context, document, nullptr, 0, 0, nullptr, nullptr, pagesNeeded, 0, true};
    FoundPages found;
    fz_var(walk);
    fz_var(found);
    fz_try(context)
    {
        pdf_obj* const catalog = pdf_dict_get(context, pdf_trailer(context, document), PDF_NAME(Root));
        pdf_obj* const root = pdf_dict_get(context, catalog, PDF_NAME(Pages));
        walk.visited = pdf_new_mark_bits(context, document);
        walk.pages = pdf_new_array(context, document, 64);
        found.isListLost = !pdf_is_dict(context, root);
        if (found.isListLost) {
            collectPages(&walk);
        } else if (isBranch(context, root)) {
            walkFrom(&walk, root);
        } else if (pdf_name_eq(context, pdf_dict_get(context, root, PDF_NAME(Type)), PDF_NAME(Page))) {
            pdf_array_push(context, walk.pages, root);
            walk.isAsClaimed = false;
        }
        found.count = pdf_array_len(context, walk.pages);
        found.emptyEntries = walk.emptyEntries;
        if (found.count < pagesNeeded)
            found.claimed = pdf_to_int64(context, pdf_dict_get(context, root, PDF_NAME(Count)));
        if (!walk.isAsClaimed && found.count > 0)
            flatten(&walk, catalog);
    }
    fz_always(context)
    {
        fz_free(context, walk.branches);
        pdf_drop_mark_bits(context, walk.visited);
        pdf_drop_obj(context, walk.pages);
    }
    fz_catch(context)
    {
        found.count = -1;
    }
    return found;
}

/// Rebuilds the cross references of a document whose pages cannot be found with those it has, and looks for a catalogue
/// where the trailer leads to none.
void rebuild(fz_context* context, pdf_document* document) noexcept
{
    pdf_obj* object = nullptr;
    fz_var(object);
    fz_try(context)
    {
        if (!pdf_was_repaired(context, document))
            pdf_repair_xref(context, document);
        pdf_obj* const trailer = pdf_trailer(context, document);
        const int end =
            pdf_is_dict(context, pdf_dict_get(context, trailer, PDF_NAME(Root))) ? 0 : pdf_xref_len(context, document);
        for (int number = 1; number < end; ++number) {
            object = pdf_new_indirect(context, document, number, 0);
            if (pdf_name_eq(context, pdf_dict_get(context, object, PDF_NAME(Type)), PDF_NAME(Catalog)))
                pdf_dict_put(context, trailer, PDF_NAME(Root), object);
            pdf_drop_obj(context, object);
            object = nullptr;
        }
    }
    fz_always(context)
    {
        pdf_drop_obj(context, object);
    }
    fz_catch(context)
    {
        // The next walk shows what was gained.
    }
}

/// A reference to nothing, or to a stream that reaches the end of the file: what is whole ends with words of its own.
bool isGone(fz_context* context, pdf_document* document, pdf_obj* object, std::int64_t fileSize)
{
    if (!pdf_is_indirect(context, object))
        return false;
    if (pdf_is_null(context, object))
        return true;
    if (!pdf_is_stream(context, object))
        return false;
    constexpr std::int64_t ending = sizeof "endstream" - 1;
    const pdf_xref_entry* const entry = pdf_get_xref_entry(context, document, pdf_to_num(context, object));
    return entry->stm_ofs + pdf_to_int64(context, pdf_dict_get(context, object, PDF_NAME(Length))) + ending >= fileSize;
}

} // namespace

FoundPages settlePageTree(fz_context* context, pdf_document* document, int pagesNeeded) noexcept
{
    FoundPages found = settleOnce(context, document, pagesNeeded);
    // A fault met on the way makes the library rebuild the cross references by itself; the walk then starts again.
    if (found.count < 0)
        found = settleOnce(context, document, pagesNeeded);
    if (found.count <= 0 || (found.emptyEntries > 0 && !pdf_was_repaired(context, document))) {
        rebuild(context, document);
        found = settleOnce(context, document, pagesNeeded);
    }
    return found;
}

bool hasLostSomething(fz_context* context, pdf_document* document, int pageIndex, std::int64_t fileSize) noexcept
{
    bool isLost = false;
    fz_var(isLost);
    fz_try(context)
    {
        pdf_obj* const page = pdf_lookup_page_obj(context, document, pageIndex);
        pdf_obj* const contents = pdf_dict_get(context, page, PDF_NAME(Contents));
        pdf_obj* const resources = pdf_dict_get_inheritable(context, page, PDF_NAME(Resources));
        isLost = isGone(context, document, contents, fileSize) || isGone(context, document, resources, fileSize)
            || isGone(context, document, pdf_dict_get(context, page, PDF_NAME(Resources)), fileSize);
        for (int index = 0; !isLost && index < pdf_array_len(context, contents); ++index)
            isLost = isGone(context, document, pdf_array_get(context, contents, index), fileSize);
        pdf_obj* const categories[] = {PDF_NAME(XObject), PDF_NAME(Font)};
        for (pdf_obj* const category : categories) {
            pdf_obj* const entries = pdf_dict_get(context, resources, category);
            isLost = isLost || isGone(context, document, entries, fileSize);
            for (int index = 0; !isLost && index < pdf_dict_len(context, entries); ++index)
                isLost = isGone(context, document, pdf_dict_get_val(context, entries, index), fileSize);
        }
    }
    fz_catch(context)
    {
        return true;
    }
    return isLost;
}

} // namespace Pelgra::Rendering
