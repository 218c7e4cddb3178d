#include "modules/svg/SvgModule.h"

#include "codecs/DecodedImage.h"
#include "modules/ModuleLoader.h"
#include "pixels/StraightAlpha.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <memory>
#include <optional>

#include <cairo.h>
#include <librsvg/rsvg.h>

namespace Pelgra {

namespace {

struct HandleDeleter {
    void operator()(RsvgHandle* handle) const { g_object_unref(handle); }
};
struct SurfaceDeleter {
    void operator()(cairo_surface_t* surface) const { cairo_surface_destroy(surface); }
};
struct ContextDeleter {
    void operator()(cairo_t* context) const { cairo_destroy(context); }
};
using Handle = std::unique_ptr<RsvgHandle, HandleDeleter>;
using Surface = std::unique_ptr<cairo_surface_t, SurfaceDeleter>;
using Context = std::unique_ptr<cairo_t, ContextDeleter>;

constexpr double dotsPerInch = 96; // what CSS means by a pixel
constexpr double pixelsPerUnit = 2;

struct NominalSize {
    double width = 0;
    double height = 0;
    bool isUsable() const { return std::isfinite(width) && std::isfinite(height) && width > 0 && height > 0; }
};

/// Handed over as bytes, never as a file: without a location the document can reach nothing but itself.
Handle parse(std::span<const std::byte> file)
{
    // Compressed drawings have another extension, and unpacking them would have no bound.
    if (file.size() >= 2 && file[0] == std::byte{0x1F} && file[1] == std::byte{0x8B})
        throw DecodeError("SVG: compressed");
    GError* error = nullptr;
    Handle handle(rsvg_handle_new_from_data(reinterpret_cast<const guint8*>(file.data()),
                                            static_cast<gsize>(file.size()), &error));
    g_clear_error(&error);
    if (!handle)
        throw DecodeError("SVG: no drawing");
    rsvg_handle_set_dpi(handle.get(), dotsPerInch);
    return handle;
}

/// A length in CSS pixels; none for a percentage, which is also what an absent length is reported as.
std::optional<double> absoluteLength(const RsvgLength& length)
{
    constexpr double defaultFontSize = 12; // the renderer's, for a root element without one
    switch (length.unit) {
    case RSVG_UNIT_PERCENT:
        return std::nullopt;
    case RSVG_UNIT_PX:
        return length.length;
    case RSVG_UNIT_EM:
        return length.length * defaultFontSize;
    case RSVG_UNIT_EX:
#if LIBRSVG_CHECK_VERSION(2, 58, 0)
    case RSVG_UNIT_CH: // the width of a zero
#endif
        return length.length * defaultFontSize / 2;
    case RSVG_UNIT_IN:
        return length.length * dotsPerInch;
    case RSVG_UNIT_CM:
        return length.length * dotsPerInch / 2.54;
    case RSVG_UNIT_MM:
        return length.length * dotsPerInch / 25.4;
    case RSVG_UNIT_PT:
        return length.length * dotsPerInch / 72;
    case RSVG_UNIT_PC:
        return length.length * dotsPerInch / 6;
    }
    return std::nullopt;
}

/// From width and height, one of them by the proportions of the viewBox if need be, else from the viewBox, else none.
NominalSize statedSize(RsvgHandle* handle)
{
    NominalSize size;
    if (rsvg_handle_get_intrinsic_size_in_pixels(handle, &size.width, &size.height))
        return size;
    gboolean hasWidth = FALSE, hasHeight = FALSE, hasViewBox = FALSE;
    RsvgLength width{}, height{};
    RsvgRectangle viewBox{};
    rsvg_handle_get_intrinsic_dimensions(handle, &hasWidth, &width, &hasHeight, &height, &hasViewBox, &viewBox);
    if (!hasViewBox || !(NominalSize{viewBox.width, viewBox.height}.isUsable()))
        return {};
    const std::optional<double> statedWidth = hasWidth ? absoluteLength(width) : std::nullopt;
    const std::optional<double> statedHeight = hasHeight ? absoluteLength(height) : std::nullopt;
    if (statedWidth)
        return {*statedWidth, *statedWidth * viewBox.height / viewBox.width};
    if (statedHeight)
        return {*statedHeight * viewBox.width / viewBox.height, *statedHeight};
    return {viewBox.width, viewBox.height};
}

NominalSize nominalSize(RsvgHandle* handle)
{
    constexpr double defaultSide = 512;
    const NominalSize size = statedSize(handle);
    return size.isUsable() ? size : NominalSize{defaultSide, defaultSide};
}

RasterImage blankImage(const NominalSize& size)
{
    // The drawing library's own limit for a side, and an area that leaves room for the layers of the drawing.
    constexpr double sideLimit = 32767, areaLimit = 64'000'000;
    const double width = std::max(1.0, std::round(size.width * pixelsPerUnit));
    const double height = std::max(1.0, std::round(size.height * pixelsPerUnit));
    if (width > sideLimit || height > sideLimit || width * height > areaLimit)
        throw DecodeError("SVG: too large");
    std::optional<RasterImage> image =
        RasterImage::make(static_cast<int>(width), static_cast<int>(height), ColorModel::rgb, true, 8);
    if (!image)
        throw DecodeError("SVG: too large");
    std::fill(image->pixels.begin(), image->pixels.end(), std::byte{0});
    return std::move(*image);
}

/// Draws into the picture's own memory, in the drawing library's order of components.
void draw(RsvgHandle* handle, const NominalSize& size, RasterImage& image)
{
    const Surface surface(cairo_image_surface_create_for_data(reinterpret_cast<unsigned char*>(image.pixels.data()),
                                                              CAIRO_FORMAT_ARGB32, image.width, image.height,
                                                              static_cast<int>(image.stride)));
    const Context context(cairo_create(surface.get()));
    cairo_scale(context.get(), image.width / size.width, image.height / size.height);
    const RsvgRectangle viewport{0, 0, size.width, size.height};
    GError* error = nullptr;
    const bool isDrawn = rsvg_handle_render_document(handle, context.get(), &viewport, &error) == TRUE;
    g_clear_error(&error);
    cairo_surface_flush(surface.get());
    if (!isDrawn || cairo_status(context.get()) != CAIRO_STATUS_SUCCESS)
        throw DecodeError("SVG: it cannot be drawn");
}

/// Cairo's pixels are numbers 0xAARRGGBB in the machine's byte order.
void orderComponents(RasterImage& image)
{
    for (std::size_t place = 0; place < image.pixels.size(); place += 4) {
        std::uint32_t pixel = 0;
        std::memcpy(&pixel, image.pixels.data() + place, 4);
        for (unsigned component = 0; component < 4; ++component)
            image.pixels[place + component] =
                static_cast<std::byte>(pixel >> (component == 3 ? 24 : 16 - 8 * component));
    }
}

RasterImage render(std::span<const std::byte> file)
{
    const Handle handle = parse(file);
    const NominalSize size = nominalSize(handle.get());
    RasterImage image = blankImage(size);
    draw(handle.get(), size, image);
    orderComponents(image);
    makeAlphaStraight(image);
    return image;
}

} // namespace

} // namespace Pelgra

PELGRA_MODULE_EXPORT const Pelgra::SvgModule pelgraModule{Pelgra::render};
