#include "TextPieces.h"

#include "MuPDFVersion.h"
#include "RunPart.h"

#include <cmath>

namespace Pelgra::Rendering {

namespace {

struct TextPageDeleter {
    fz_context* context = nullptr;
    void operator()(fz_stext_page* page) const { fz_drop_stext_page(context, page); }
};
using TextPageHandle = std::unique_ptr<fz_stext_page, TextPageDeleter>;

/// Null where not even part of the text can be read.
fz_stext_page* tryReadText(fz_context* context, pdf_page* page, fz_cookie* cookie) noexcept
{
    fz_stext_page* text = nullptr;
    fz_device* device = nullptr;
    fz_var(text);
    fz_var(device);
    fz_try(context)
    {
        // Without the library's own clipping, which measures every glyph.
        fz_stext_options options{};
        text = fz_new_stext_page(context, boundsOf(context, page));
        device = fz_new_stext_device(context, text, &options);
        if (runPart(context, pdf_run_page_contents, page, device, fz_identity, cookie)
            && runPart(context, pdf_run_page_annots, page, device, fz_identity, cookie))
            runPart(context, pdf_run_page_widgets, page, device, fz_identity, cookie);
        fz_close_device(context, device);
    }
    fz_always(context)
    {
        fz_drop_device(context, device);
    }
    fz_catch(context)
    {
        // What was read before the fault is kept.
        return text;
    }
    return text;
}

float along(fz_point direction, fz_point point)
{
    return direction.x * point.x + direction.y * point.y;
}

/// At right angles to the direction; downwards for text that runs to the right.
float across(fz_point direction, fz_point point)
{
    return direction.x * point.y - direction.y * point.x;
}

/// The height of the font on the page. The library's own figure is the mean of height and width, which makes
/// condensed text smaller than it looks.
float sizeOf(fz_context* context, const fz_stext_line& line, const fz_stext_char& character)
{
    const float em =
        character.font ? fz_font_ascender(context, character.font) - fz_font_descender(context, character.font) : 0;
    if (line.wmode != 0 || !(em > 0.1F))
        return character.size;
    const fz_point up = {character.quad.ul.x - character.quad.ll.x, character.quad.ul.y - character.quad.ll.y};
    return std::abs(across(line.dir, up)) / em;
}

PlacedCharacter placed(fz_context* context, const fz_stext_line& line, const fz_stext_char& character)
{
    const fz_quad& quad = character.quad;
    PlacedCharacter result;
    result.code = static_cast<char32_t>(character.c);
    result.size = sizeOf(context, line, character);
    if (line.wmode == 0) {
        result.start = along(line.dir, character.origin);
        result.end = result.start + along(line.dir, quad.lr) - along(line.dir, quad.ll);
    } else {
        result.start = std::min(along(line.dir, quad.ul), along(line.dir, quad.ll));
        result.end = std::max(along(line.dir, quad.ul), along(line.dir, quad.ll));
    }
    return result;
}

bool isOutside(const fz_rect& box, const fz_quad& quad)
{
    const fz_rect bounds = fz_rect_from_quad(quad);
    return bounds.x1 < box.x0 || bounds.x0 > box.x1 || bounds.y1 < box.y0 || bounds.y0 > box.y1;
}

/// Without what lies outside the box.
TextPiece pieceFrom(fz_context* context, const fz_stext_line& line, const fz_rect& box)
{
    TextPiece piece;
    piece.directionX = line.dir.x;
    piece.directionY = line.dir.y;
    piece.isVertical = line.wmode != 0;
    float largest = 0;
    for (const fz_stext_char* character = line.first_char; character; character = character->next) {
        if (isOutside(box, character->quad))
            continue;
        piece.characters.push_back(placed(context, line, *character));
        // Raised and lowered characters are smaller than what they belong to.
        if (piece.characters.back().size >= largest) {
            largest = piece.characters.back().size;
            piece.baseline = across(line.dir, character->origin);
        }
    }
    return piece;
}

} // namespace

std::vector<TextPiece> readTextPieces(MuPDFDocument& document, const PageHandle& page)
{
    fz_context* const context = document.context();
    const TextPageHandle text(tryReadText(context, page.get(), document.account().cookie()), {context});
    std::vector<TextPiece> pieces;
    if (!text)
        return pieces;
    for (const fz_stext_block* block = text->first_block; block; block = block->next) {
        if (block->type != FZ_STEXT_BLOCK_TEXT)
            continue;
        for (const fz_stext_line* line = block->u.t.first_line; line; line = line->next)
            pieces.push_back(pieceFrom(context, *line, text->mediabox));
    }
    return pieces;
}

} // namespace Pelgra::Rendering
