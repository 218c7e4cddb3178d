#include "modules/PageGeometry.h"

#include <algorithm>
#include <cmath>

namespace Pelgra {

namespace {

constexpr PageBox usLetter{0, 0, 612, 792};

/// Cuts off the fraction. A product that falls short of a whole number only by the rounding of its factors is that
/// number: 400 pixels for 595.28 points stay 400.
int wholePixels(double length)
{
    const double nearest = std::nearbyint(length);
    const bool isWhole = std::abs(length - nearest) <= 1e-9 * std::max(1.0, nearest);
    return std::clamp(static_cast<int>(isWhole ? nearest : std::trunc(length)), 1, PDFRender::maxSide);
}

} // namespace

int snappedRotation(long long degrees)
{
    const long long positive = (degrees % 360 + 360) % 360;
    return static_cast<int>((positive + 45) / 90 % 4 * 90);
}

PageBox standardised(const std::array<double, 4>& corners)
{
    const auto [left, right] = std::minmax(corners[0], corners[2]);
    const auto [bottom, top] = std::minmax(corners[1], corners[3]);
    return {left, bottom, right, top};
}

PageBox visibleBox(const std::optional<PageBox>& mediaBox, const std::optional<PageBox>& cropBox)
{
    const PageBox media = mediaBox && !mediaBox->isEmpty() ? *mediaBox : usLetter;
    if (!cropBox)
        return media;
    const PageBox shared{std::max(media.left, cropBox->left), std::max(media.bottom, cropBox->bottom),
                         std::min(media.right, cropBox->right), std::min(media.top, cropBox->top)};
    return shared.isEmpty() ? media : shared;
}

PageSize turnedSize(const PageBox& box, int quarterTurn)
{
    if (quarterTurn % 180 != 0)
        return {box.height(), box.width()};
    return {box.width(), box.height()};
}

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

} // namespace Pelgra
