#pragma once

#include "modules/PageGeometry.h"
#include "modules/PageLosses.h"
#include "PelgraCore/PDFRendering.h"
#include "TextPiece.h"

#include <cstddef>
#include <filesystem>
#include <memory>
#include <optional>
#include <span>
#include <stop_token>
#include <vector>

namespace Pelgra {

/// A document that can also be drawn in parts and read.
class PageRenderer : public PDFDocument {
public:
    /// What the document has lost of its pages, if all of them were looked for.
    virtual PageLosses losses() = 0;

    /// Whether nothing on the page has a colour, as far as can be told without drawing it; else false.
    virtual bool isColorless(int pageIndex, const std::stop_token& stop) = 0;

    /// Draws rows of a page, from the top one given, into tight rows of 8-bit sRGB or grey that fill the span; the page
    /// as a whole fills a bitmap of the given size. Parts of a page that are at fault are left out; false where the
    /// page cannot be fetched or drawn at all, takes too much time or memory, or a stop was requested.
    virtual bool drawRows(int pageIndex, PixelSize size, int top, std::span<std::byte> pixels,
                          const std::stop_token& stop) = 0;

    /// What the page shows as text, in the order of its contents; as much as can be read. Throws std::runtime_error
    /// where time or memory ran out before there was any: drawing such a page is not worth trying.
    virtual std::vector<TextPiece> textPieces(int pageIndex, const std::stop_token& stop) = 0;
};

/// What libpelgra-rendering.so offers.
struct RenderingModule {
    static constexpr const char* name = "rendering";

    /// Null for what is not a document, needs a password, or has none of the pages it says it has.
    std::unique_ptr<PageRenderer> (*open)(const std::filesystem::path& file, int pagesNeeded);
};

} // namespace Pelgra
