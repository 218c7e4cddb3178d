#include "Renderer.h"

#include "MuPDFVersion.h"
#include "overrides/ProfileColors.h"
#include "RunPart.h"
#include "TextPieces.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>

namespace Pelgra::Rendering {

namespace {

/// From the page's own points, y pointing up, to the pixels of its bitmap, y pointing down.
fz_matrix pixelsOf(const PageGeometry& geometry, PixelSize size)
{
    const PageSize shown = geometry.displayedSize();
    const fz_matrix toOrigin =
        fz_translate(static_cast<float>(-geometry.box.left), static_cast<float>(-geometry.box.bottom));
    const auto width = static_cast<float>(geometry.box.width());
    const auto height = static_cast<float>(geometry.box.height());
    // Turns the box clockwise, y still pointing up, and moves it back into the quadrant it left.
    fz_matrix turn = fz_identity;
    switch (geometry.rotation) {
    case 90:
        turn = fz_make_matrix(0, -1, 1, 0, 0, width);
        break;
    case 180:
        turn = fz_make_matrix(-1, 0, 0, -1, width, height);
        break;
    case 270:
        turn = fz_make_matrix(0, 1, -1, 0, height, 0);
        break;
    default:
        break;
    }
    const auto scaleX = static_cast<float>(size.width / shown.width);
    const auto scaleY = static_cast<float>(size.height / shown.height);
    const fz_matrix flip = fz_make_matrix(scaleX, 0, 0, -scaleY, 0, static_cast<float>(size.height));
    return fz_concat(fz_concat(toOrigin, turn), flip);
}

using BeginTile = int (*)(fz_context*, fz_device*, fz_rect, fz_rect, float, float, fz_matrix, int);
thread_local BeginTile beginTileOfLibrary = nullptr;

float boundedStep(float step, float areaSize, float cellSize)
{
    constexpr float mostTiles = 4000;
    constexpr float mostOverlap = 8;
    const float least = std::max(areaSize / mostTiles, cellSize / mostOverlap);
    return std::abs(step) < least ? std::copysign(least, step) : step;
}

/// Patterns are repeated in a loop that nothing interrupts, not even running out of memory; a step of a thousandth of a
/// point would keep it busy for days.
int beginBoundedTile(fz_context* context, fz_device* device, fz_rect area, fz_rect cell, float stepX, float stepY,
                     fz_matrix matrix, int id)
{
    return beginTileOfLibrary(context, device, area, cell, boundedStep(stepX, area.x1 - area.x0, cell.x1 - cell.x0),
                              boundedStep(stepY, area.y1 - area.y0, cell.y1 - cell.y0), matrix, id);
}

using BeginGroup = void (*)(fz_context*, fz_device*, fz_rect, fz_colorspace*, int, int, int, float);
thread_local BeginGroup beginGroupOfLibrary = nullptr;

/// Groups in ink or with a profile are drawn in the colours of the page instead: what is not of their space would come
/// out as other colours on the way there and back.
void beginGroupInPageColors(fz_context* context, fz_device* device, fz_rect area, fz_colorspace* space, int isIsolated,
                            int isKnockout, int blendMode, float alpha)
{
    fz_colorspace* const drawn = fz_colorspace_is_cmyk(context, space) || hasProfile(space) ? nullptr : space;
    beginGroupOfLibrary(context, device, area, drawn, isIsolated, isKnockout, blendMode, alpha);
}

/// Draws into white pixels that fill the area. False when memory ran out.
bool drawArea(fz_context* context, pdf_page* page, fz_matrix toPixels, fz_irect area, fz_colorspace* space,
              std::byte* pixels, fz_cookie* cookie) noexcept
{
    fz_pixmap* pixmap = nullptr;
    fz_device* device = nullptr;
    bool isDrawn = false;
    fz_var(pixmap);
    fz_var(device);
    fz_var(isDrawn);
    fz_try(context)
    {
        fz_rect box;
        fz_matrix ownMatrix;
        // The library applies a matrix of its own to every page; ours takes its place.
        pdf_page_transform(context, page, &box, &ownMatrix);
        const fz_matrix matrix = fz_concat(fz_invert_matrix(ownMatrix), toPixels);
        pixmap = fz_new_pixmap_with_bbox_and_data(context, space, area, nullptr, 0,
                                                  reinterpret_cast<unsigned char*>(pixels));
        device = fz_new_draw_device(context, fz_identity, pixmap);
        beginTileOfLibrary = device->begin_tile;
        device->begin_tile = beginBoundedTile;
        beginGroupOfLibrary = device->begin_group;
        device->begin_group = beginGroupInPageColors;
        isDrawn = runPart(context, pdf_run_page_contents, page, device, matrix, cookie)
            && runPart(context, pdf_run_page_annots, page, device, matrix, cookie)
            && runPart(context, pdf_run_page_widgets, page, device, matrix, cookie);
        fz_close_device(context, device);
    }
    fz_always(context)
    {
        fz_drop_device(context, device);
        fz_drop_pixmap(context, pixmap);
    }
    fz_catch(context)
    {
        // Layers were left open at the end of a faulty page; what was drawn stays.
        return isDrawn && !isOutOfMemory(context);
    }
    return isDrawn;
}

/// Runs the page through a device that looks at the colours it is told to use and stops at the first that is not grey.
bool usesColor(fz_context* context, pdf_page* page, fz_cookie* cookie) noexcept
{
    fz_device* device = nullptr;
    int isColored = 0;
    fz_var(device);
    fz_var(isColored);
    fz_try(context)
    {
        constexpr float tolerance = 0;
        device = fz_new_test_device(context, &isColored, tolerance, 0, nullptr);
        pdf_run_page(context, page, device, fz_identity, cookie);
        fz_close_device(context, device);
    }
    fz_always(context)
    {
        fz_drop_device(context, device);
    }
    fz_catch(context)
    {
        return true; // also how the device stops
    }
    return isColored != 0;
}

constexpr auto white = std::byte{0xFF};

} // namespace

Renderer::Renderer(std::unique_ptr<MuPDFDocument> document)
    : m_document(std::move(document))
    , m_page(nullptr, PageDeleter{m_document->context()})
{
}

const PageHandle& Renderer::pageAt(int index)
{
    if (!m_page || m_pageIndex != index) {
        m_page.reset();
        m_page = m_document->loadPage(index);
        m_pageIndex = index;
    }
    return m_page;
}

PageSize Renderer::displayedSize(int pageIndex)
{
    const Work work(m_document->account());
    return m_document->geometryOf(pageAt(pageIndex)).displayedSize();
}

bool Renderer::isColorless(int pageIndex, const std::stop_token& stop)
{
    // Drawing in colour is always right, so an answer that takes long is not worth waiting for.
    constexpr double limit = 0.5;
    const Work work(m_document->account(), stop, {}, limit);
    const PageHandle& page = pageAt(pageIndex);
    return page && !usesColor(m_document->context(), page.get(), m_document->account().cookie())
        && !m_document->account().isCutOff();
}

bool Renderer::drawRows(int pageIndex, PixelSize size, int top, std::span<std::byte> pixels,
                        const std::stop_token& stop)
{
    std::fill(pixels.begin(), pixels.end(), white);
    const Work work(m_document->account(), stop, pixels);
    const PageHandle& page = pageAt(pageIndex);
    if (!page)
        return false;
    const PageGeometry geometry = m_document->geometryOf(page);
    const auto rows = static_cast<int>(pixels.size() / size.rowBytes());
    fz_context* const context = m_document->context();
    fz_colorspace* const space = size.model == ColorModel::gray ? fz_device_gray(context) : fz_device_rgb(context);
    const bool isDrawn = drawArea(context, page.get(), pixelsOf(geometry, size), {0, top, size.width, top + rows},
                                  space, pixels.data(), m_document->account().cookie());
    return isDrawn && !m_document->account().isCutOff() && !m_document->isCutShort();
}

std::optional<RasterImage> Renderer::render(int pageIndex, double scale)
{
    const std::optional<PixelSize> size = pixelSizeFor(displayedSize(pageIndex), scale);
    if (!size)
        return std::nullopt;
    std::optional<RasterImage> image = RasterImage::make(size->width, size->height, ColorModel::rgb, false, 8);
    if (!image || !drawRows(pageIndex, *size, 0, image->pixels, {}))
        return std::nullopt;
    return image;
}

std::vector<TextPiece> Renderer::textPieces(int pageIndex, const std::stop_token& stop)
{
    const Work work(m_document->account(), stop);
    const PageHandle& page = pageAt(pageIndex);
    std::vector<TextPiece> pieces = page ? readTextPieces(*m_document, page) : std::vector<TextPiece>();
    if (pieces.empty() && m_document->account().isCutOff() && !stop.stop_requested())
        throw std::runtime_error("the page takes too much");
    if (m_document->isCutShort())
        throw std::runtime_error("the file was cut short");
    return pieces;
}

std::unique_ptr<PageRenderer> openRenderer(const std::filesystem::path& file, int pagesNeeded)
{
    std::unique_ptr<MuPDFDocument> document = MuPDFDocument::open(file, pagesNeeded);
    return document ? std::make_unique<Renderer>(std::move(document)) : nullptr;
}

} // namespace Pelgra::Rendering
