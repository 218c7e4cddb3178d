#pragma once

#include "modules/rendering/RenderingModule.h"
#include "MuPDFDocument.h"

namespace Pelgra::Rendering {

/// Draws pages with MuPDF.
class Renderer final : public PageRenderer {
public:
    explicit Renderer(std::unique_ptr<MuPDFDocument> document);

    int pageCount() const override { return m_document->pageCount(); }
    PageLosses losses() override { return m_document->losses(); }
    PageSize displayedSize(int pageIndex) override;
    std::optional<RasterImage> render(int pageIndex, double scale) override;
    bool isColorless(int pageIndex, const std::stop_token& stop) override;
    bool drawRows(int pageIndex, PixelSize size, int top, std::span<std::byte> pixels,
                  const std::stop_token& stop) override;
    std::vector<TextPiece> textPieces(int pageIndex, const std::stop_token& stop) override;

private:
    /// Keeps the page for the next call, since the bands of a page follow one another.
    const PageHandle& pageAt(int index);

    std::unique_ptr<MuPDFDocument> m_document;
    PageHandle m_page; ///< must be gone before the document
    int m_pageIndex = -1;
};

std::unique_ptr<PageRenderer> openRenderer(const std::filesystem::path& file, int pagesNeeded);

} // namespace Pelgra::Rendering
