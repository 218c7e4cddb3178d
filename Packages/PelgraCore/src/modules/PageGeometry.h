#pragma once

#include "PelgraCore/PDFRendering.h"
#include "PelgraCore/RasterImage.h"

#include <array>
#include <cstddef>
#include <optional>

namespace Pelgra {

/// A rectangle of a page's default user space: points, x to the right, y up.
struct PageBox {
    double left = 0;
    double bottom = 0;
    double right = 0;
    double top = 0;

    double width() const { return right - left; }
    double height() const { return top - bottom; }
    bool isEmpty() const { return !(right > left && top > bottom); } // written so that NaN counts as empty

    bool operator==(const PageBox&) const = default;
};

/// A box of four numbers as a file gives them: any two opposite corners.
PageBox standardised(const std::array<double, 4>& corners);

/// The part of a page that readers show, before its rotation: the crop box where it overlaps the media box, else the
/// media box; where that is missing or empty, US Letter. `/UserUnit` plays no part in it.
PageBox visibleBox(const std::optional<PageBox>& mediaBox, const std::optional<PageBox>& cropBox);

/// The size of a box once the page is turned by a multiple of 90 degrees.
PageSize turnedSize(const PageBox& box, int quarterTurn);

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

} // namespace Pelgra
