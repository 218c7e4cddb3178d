#include "PelgraCore/PDFRendering.h"

#include "modules/ModuleLoader.h"
#include "modules/rendering/RenderingModule.h"
#include "PelgraCore/EngineError.h"

#include <algorithm>
#include <cmath>

namespace Pelgra {

namespace {

/// Cuts off the fraction. A product that falls short of a whole number by nothing but the rounding of its factors is
/// that number: 400 pixels for 595.28 points stay 400.
int wholePixels(double length)
{
    const double nearest = std::nearbyint(length);
    const bool isWhole = std::abs(length - nearest) <= 1e-9 * std::max(1.0, nearest);
    return std::clamp(static_cast<int>(isWhole ? nearest : std::trunc(length)), 1, PDFRender::maxSide);
}

} // namespace

std::optional<PixelSize> pixelSizeFor(PageSize size, double scale)
{
    // Written so that a NaN fails, too.
    if (!(size.width > 0 && size.height > 0 && scale > 0))
        return std::nullopt;
    const double longer = std::max(size.width, size.height);
    if (!(longer * scale <= PDFRender::maxSide))
        scale = PDFRender::maxSide / longer;
    return PixelSize{wholePixels(size.width * scale), wholePixels(size.height * scale)};
}

const RenderingModule& renderingModule()
{
    return module<RenderingModule>("rendering");
}

std::unique_ptr<PageRenderer> openRenderer(const std::filesystem::path& file, int pagesNeeded)
{
    std::unique_ptr<PageRenderer> renderer;
    try {
        renderer = renderingModule().open(file, pagesNeeded);
    } catch (const std::exception&) {
        throw EngineError::unreadable(file);
    }
    if (!renderer)
        throw EngineError::unreadable(file);
    return renderer;
}

std::unique_ptr<PDFDocument> PDFRender::open(const std::filesystem::path& file)
{
    return openRenderer(file);
}

} // namespace Pelgra
