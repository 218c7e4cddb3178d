#include "modules/PageGeometry.h"

#include <algorithm>

namespace Pelgra {

namespace {

constexpr PageBox usLetter{0, 0, 612, 792};

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

} // namespace Pelgra
