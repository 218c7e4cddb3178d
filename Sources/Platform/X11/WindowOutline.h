#pragma once

#include <xcb/shape.h>

#include <QRegion>

#include <optional>

/// What an X server and its compositing managers are told about the outline of a window. Any connection that knows the
/// window will do; nothing is sent before it is flushed.
namespace Pelgra::WindowOutline {

/// The shape of that kind, in pixels of the screen; none makes the window whole again.
void setShape(xcb_connection_t* connection, xcb_window_t window, xcb_shape_kind_t kind,
              const std::optional<QRegion>& pixels);

/// A compositing manager knows the window as a rectangle and would draw the shadow of a rectangle around it. A window
/// that says where its own frame ends (`frameExtents`, the property by which toolkits do so) is known to see to that
/// itself.
void refuseShadow(xcb_connection_t* connection, xcb_window_t window, xcb_atom_t frameExtents);

} // namespace Pelgra::WindowOutline
