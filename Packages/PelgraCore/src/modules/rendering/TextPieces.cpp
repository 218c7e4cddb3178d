#include "TextPieces.h"

#include "MuPDFVersion.h"
#include "RunPart.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <span>
#include <string_view>
#include <utility>

namespace Pelgra::Rendering {

namespace {

struct TextPageDeleter {
    fz_context* context = nullptr;
    void operator()(fz_stext_page* page) const { fz_drop_stext_page(context, page); }
};
using TextPageHandle = std::unique_ptr<fz_stext_page, TextPageDeleter>;

/// What may be bullets: filled shapes no larger than this, in points, and about as high as wide. A page with more of
/// them shows a drawing.
constexpr float largestShape = 12;
constexpr float smallestShape = 1;
constexpr float largestAspect = 1.25F;
constexpr std::size_t mostShapes = 200;
/// Characters of one line are raised and lowered by less, in font sizes.
constexpr float largestRise = 0.6F;

/// The shapes met on a page; the library's device knows of no more than text.
struct Shapes {
    std::array<fz_rect, mostShapes + 1> boxes;
    std::size_t count = 0;
};
thread_local Shapes* currentShapes = nullptr;

void noteShape(fz_context* context, fz_device*, const fz_path* path, int, fz_matrix matrix, fz_colorspace*,
               const float*, float alpha, fz_color_params)
{
    if (!currentShapes || currentShapes->count > mostShapes || !(alpha > 0))
        return;
    const fz_rect box = fz_bound_path(context, path, nullptr, matrix);
    const float width = box.x1 - box.x0;
    const float height = box.y1 - box.y0;
    if (width >= smallestShape && width <= largestShape && height <= largestAspect * width
        && width <= largestAspect * height)
        currentShapes->boxes[currentShapes->count++] = box;
}

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
        device->fill_path = noteShape;
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

/// What a reader of the page must know of a font, asked once for each.
class Fonts {
public:
    explicit Fonts(fz_context* context)
        : m_context(context)
    {
    }

    void mark(PlacedCharacter& character, fz_font* font)
    {
        if (font != m_last) {
            m_last = font;
            m_entry = std::ranges::find(m_entries, font, &Entry::font) - m_entries.begin();
            if (static_cast<std::size_t>(m_entry) == m_entries.size())
                m_entries.push_back({font, font && isBold(font)});
        }
        character.font = static_cast<std::uint16_t>(m_entry);
        character.isBold = m_entries[static_cast<std::size_t>(m_entry)].isBold;
    }

private:
    struct Entry {
        fz_font* font = nullptr;
        bool isBold = false;
    };

    /// By its flags or, where they are not set, by its name.
    bool isBold(fz_font* font) const
    {
        if (fz_font_is_bold(m_context, font) != 0)
            return true;
        const std::string_view name = fz_font_name(m_context, font);
        constexpr std::string_view weights[] = {"Bold", "bold", "BOLD", "Black", "Heavy", "Demi", "CMBX", "-Bd"};
        return std::ranges::any_of(weights, [&](std::string_view weight) { return name.find(weight) != name.npos; });
    }

    fz_context* m_context;
    fz_font* m_last = nullptr;
    std::ptrdiff_t m_entry = 0;
    std::vector<Entry> m_entries{{nullptr, false}};
};

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

TextPiece emptyPiece(const fz_stext_line& line)
{
    TextPiece piece;
    piece.directionX = line.dir.x;
    piece.directionY = line.dir.y;
    piece.isVertical = line.wmode != 0;
    return piece;
}

/// What of a line lies in the box. MuPDF makes one line of large first letters of neighbouring paragraphs, which
/// overlap; here they are pieces of their own.
void addPieces(std::vector<TextPiece>& pieces, fz_context* context, const fz_stext_line& line, const fz_rect& box,
               Fonts& fonts)
{
    TextPiece piece = emptyPiece(line);
    float largest = 0;
    const auto finish = [&] {
        if (!piece.characters.empty())
            pieces.push_back(std::exchange(piece, emptyPiece(line)));
        largest = 0;
    };
    for (const fz_stext_char* character = line.first_char; character; character = character->next) {
        if (isOutside(box, character->quad))
            continue;
        const PlacedCharacter next = placed(context, line, *character);
        const float baseline = across(line.dir, character->origin);
        if (line.wmode == 0 && std::abs(baseline - piece.baseline) > largestRise * std::max(largest, next.size))
            finish();
        piece.characters.push_back(next);
        fonts.mark(piece.characters.back(), character->font);
        // Raised and lowered characters are smaller than what they belong to.
        if (next.size >= largest) {
            largest = next.size;
            piece.baseline = baseline;
        }
    }
    finish();
}

/// A bullet, as long as nothing beside it says otherwise.
TextPiece pieceOfShape(const fz_rect& box)
{
    TextPiece piece;
    piece.isShape = true;
    piece.baseline = box.y1;
    piece.characters.push_back({U'\u2022', box.x0, box.x1, box.y1 - box.y0});
    return piece;
}

} // namespace

std::vector<TextPiece> readTextPieces(MuPDFDocument& document, const PageHandle& page)
{
    fz_context* const context = document.context();
    Shapes shapes;
    currentShapes = &shapes;
    const TextPageHandle text(tryReadText(context, page.get(), document.account().cookie()), {context});
    currentShapes = nullptr;
    std::vector<TextPiece> pieces;
    if (!text)
        return pieces;
    Fonts fonts(context);
    for (const fz_stext_block* block = text->first_block; block; block = block->next) {
        if (block->type != FZ_STEXT_BLOCK_TEXT)
            continue;
        for (const fz_stext_line* line = block->u.t.first_line; line; line = line->next)
            addPieces(pieces, context, *line, text->mediabox, fonts);
    }
    if (shapes.count <= mostShapes) {
        for (const fz_rect& box : std::span(shapes.boxes).first(shapes.count))
            pieces.push_back(pieceOfShape(box));
    }
    return pieces;
}

} // namespace Pelgra::Rendering
