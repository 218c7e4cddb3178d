#include "Platform/X11/WindowOutline.h"

#include <array>
#include <vector>

namespace Pelgra::WindowOutline {

void setShape(xcb_connection_t* connection, xcb_window_t window, xcb_shape_kind_t kind,
              const std::optional<QRegion>& pixels)
{
    if (!pixels) {
        xcb_shape_mask(connection, XCB_SHAPE_SO_SET, kind, window, 0, 0, XCB_PIXMAP_NONE);
        return;
    }
    std::vector<xcb_rectangle_t> rectangles;
    for (const QRect& rectangle : *pixels) {
        rectangles.push_back({static_cast<std::int16_t>(rectangle.x()), static_cast<std::int16_t>(rectangle.y()),
                              static_cast<std::uint16_t>(rectangle.width()),
                              static_cast<std::uint16_t>(rectangle.height())});
    }
    xcb_shape_rectangles(connection, XCB_SHAPE_SO_SET, kind, XCB_CLIP_ORDERING_UNSORTED, window, 0, 0,
                         static_cast<std::uint32_t>(rectangles.size()), rectangles.data());
}

void refuseShadow(xcb_connection_t* connection, xcb_window_t window, xcb_atom_t frameExtents)
{
    constexpr std::array<std::uint32_t, 4> none{};
    xcb_change_property(connection, XCB_PROP_MODE_REPLACE, window, frameExtents, XCB_ATOM_CARDINAL, 32, none.size(),
                        none.data());
}

} // namespace Pelgra::WindowOutline
