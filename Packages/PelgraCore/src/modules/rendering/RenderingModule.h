#pragma once

#include "PelgraCore/PDFRendering.h"
#include "text/PageText.h"

#include <cstddef>
#include <filesystem>
#include <memory>
#include <optional>
#include <span>
#include <stop_token>
#include <vector>

namespace Pelgra {

/// The size of a drawn page, and whether it is drawn in RGB or in grey.
struct PixelSize {
    int width = 0;
    int height = 0;
    ColorModel model = ColorModel::rgb;
    bool operator==(const PixelSize&) const = default;

    std::size_t rowBytes() const { return static_cast<std::size_t>(width) * (model == ColorModel::gray ? 1 : 3); }
    /// Bytes of the whole page with 8 bits to the component.
    std::size_t byteCount() const { return rowBytes() * static_cast<std::size_t>(height); }
};

/// The pixels a page of the given size takes, scale pixels to the point: the longer side is capped at
/// PDFRender::maxSide, fractions are cut off, no side is less than 1. None where the size or scale is not positive.
std::optional<PixelSize> pixelSizeFor(PageSize size, double scale);

/// A document that can also be drawn in parts and read.
class PageRenderer : public PDFDocument {
public:
    /// Whether nothing on the page has a colour, as far as can be told without drawing it; else false.
    virtual bool isColorless(int pageIndex, const std::stop_token& stop) = 0;

    /// Draws rows of a page, from the top one given, into tight rows of 8-bit sRGB or grey that fill the span; the page
    /// as a whole fills a bitmap of the given size. Parts of a page that are at fault are left out; false where the
    /// page cannot be fetched or drawn at all, takes too much time or memory, or a stop was requested.
    virtual bool drawRows(int pageIndex, PixelSize size, int top, std::span<std::byte> pixels,
                          const std::stop_token& stop) = 0;

    /// What the page shows as text, in the order of its contents; as much as can be read. Throws std::runtime_error
    /// where time or memory ran out before there was any: to draw such a page is not worth a try.
    virtual std::vector<TextPiece> textPieces(int pageIndex, const std::stop_token& stop) = 0;
};

/// What libpelgra-rendering.so offers.
struct RenderingModule {
    /// Null for what is no document or needs a password.
    std::unique_ptr<PageRenderer> (*open)(const std::filesystem::path& file, int pagesNeeded);
};

/// The module "rendering", loaded at the first call.
const RenderingModule& renderingModule();

/// More pages than any document has; a page tree may name one page any number of times.
inline constexpr int mostPages = 1'000'000;

/// Opens a document for drawing. No more pages than needed are looked for, from the first, and pageCount() counts no
/// more: to find all pages of a long document takes longer than to draw one. Throws EngineError::unreadable(file), also
/// where the module is not installed.
std::unique_ptr<PageRenderer> openRenderer(const std::filesystem::path& file, int pagesNeeded = mostPages);

} // namespace Pelgra
