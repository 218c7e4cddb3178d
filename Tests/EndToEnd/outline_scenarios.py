#!/usr/bin/env python3
"""The outlines of windows that draw their own: where nothing composites they are cut as finely as the screen allows, and
a compositing manager that draws shadows draws none of a rectangle around them.

Usage: outline_scenarios.py APPLICATION SOURCE-FOLDER [--only REGEX] [--scale FACTOR]
"""
import contextlib
import ctypes
import math
import shutil
import sys
import time

import pictures
import scenarios
import x11
from desktop import Failure, wait_for
from scenarios import address, scenario

scenarios.SCENARIOS.clear()
RING = 143  # radius of what the wheel covers, logical pixels
PANEL_RADIUS, WINDOW_RADIUS = 22, 12
# What the compositing manager's own sample configuration says about shadows.
SHADOWS = """shadow = true; shadow-radius = 7; shadow-offset-x = -7; shadow-offset-y = -7;
shadow-exclude = [ "_GTK_FRAME_EXTENTS@:c" ]; fading = false; backend = "xrender"; vsync = false;
"""
SETTLING = 2.0  # a panel stays longer
REACH = 12  # how far around a window its shadow would be seen


class Rectangle(ctypes.Structure):
    _fields_ = [("x", ctypes.c_short), ("y", ctypes.c_short), ("width", ctypes.c_ushort), ("height", ctypes.c_ushort)]


SHAPE = ctypes.CDLL("libXext.so.6")
SHAPE.XShapeGetRectangles.restype = ctypes.POINTER(Rectangle)
SHAPE.XShapeGetRectangles.argtypes = [ctypes.c_void_p, ctypes.c_ulong, ctypes.c_int, ctypes.POINTER(ctypes.c_int),
                                      ctypes.POINTER(ctypes.c_int)]


def outermost(display, window):
    """For each row of a window the columns where its shape begins and ends."""
    count, order = ctypes.c_int(), ctypes.c_int()
    found = SHAPE.XShapeGetRectangles(display.display, window, 0, ctypes.byref(count), ctypes.byref(order))
    rows = {}
    for part in found[:count.value]:
        for y in range(part.y, part.y + part.height):
            left, right = rows.get(y, (part.x, part.x + part.width))
            rows[y] = min(left, part.x), max(right, part.x + part.width)
    x11.X.XFree(found)
    return rows


def row_out_of_round(display, window, radius, of_width=None):
    """Says which row of the shape is not one of a rectangle in the middle of the window, all of it or of that width and
    height, with corners of that radius; None where all are."""
    attributes = display.attributes(window)
    if not attributes:
        raise Failure("the window has gone")
    width, height = (of_width, of_width) if of_width else (attributes.width, attributes.height)
    radius = min(radius, height / 2)
    rows = outermost(display, window)
    left, top = (attributes.width - width) / 2, (attributes.height - height) / 2
    for y in range(math.ceil(top), math.floor(top + height)):
        from_corner = max(0.0, radius - min(y + 0.5 - top, top + height - y - 0.5))
        inset = radius - math.sqrt(radius * radius - from_corner * from_corner)
        wanted = left + inset, left + width - inset
        if y not in rows or max(abs(a - b) for a, b in zip(rows[y], wanted)) > 1.5:
            return f"row {y} of {attributes.height} is cut at {rows.get(y)} where it is round at {wanted}"
    return None


def expect_round(display, window, radius, of_width=None):
    """That the shape comes to be so: it follows a new size of the window a moment later."""
    deadline = time.monotonic() + SETTLING
    while fault := row_out_of_round(display, window, radius, of_width):
        if time.monotonic() > deadline:
            raise Failure(fault)
        time.sleep(0.01)


def expect_no_shadow(scene, window, what):
    """That the ground can be seen all around a window."""
    display = scene.display
    x, y = display.position(window)
    attributes = display.attributes(window)
    right, bottom = x + attributes.width, y + attributes.height
    screen = display.attributes(display.root)
    around = [(column, row) for column in range(max(0, x - REACH), min(screen.width, right + REACH))
              for row in range(max(0, y - REACH), min(screen.height, bottom + REACH))
              if not (x <= column < right and y <= row < bottom)]
    ground = display.pixel((screen.width - 1, screen.height - 1))
    other = [point for point, colour in zip(around, display.pixels(display.root, around)) if colour != ground]
    if other:
        raise Failure(f"{len(other)} of {len(around)} points around {what} differ from the ground, such as {other[0]}")


def forget_source(scene):
    scene.desktop.end(scene.source)
    scene.source = None
    scene.since = scene.app.mark()


def open_merge(scene):
    paths = []
    for name in ("a.pdf", "b.pdf"):
        paths.append(scene.folder / name)
        paths[-1].write_bytes(pictures.document((200, 300)))
    scene.begin_drag("gtk3", b"".join(address(path) for path in paths))
    scene.open_wheel("Super_L", "tools")
    scene.point_at(1, 2)
    scene.release()
    scene.expect_end()
    forget_source(scene)
    return wait_for(lambda: scene.display.named("Merge PDFs"), "the window of the tool")


def fail_a_job(scene):
    """Its panel, which stays for some seconds."""
    # The one of an earlier job would be taken for this one's, and be gone a moment later.
    wait_for(lambda: not scenarios.panels(scene, scene.scale()), "earlier panels to vanish")
    broken = scene.folder / "broken.png"
    broken.write_bytes(b"\x89PNG\r\n\x1a\nnothing more")
    scenarios.drop_on_first_petal(scene, "gtk3", [str(broken)])
    scene.app.wait_for("Job failed", scene.since)
    panel = wait_for(lambda: scenarios.panels(scene, scene.scale()), "the panel")[0]
    scene.expect_end()
    forget_source(scene)
    return panel


def close_tool(scene):
    def closed():
        scene.tap("Escape")
        return scene.app.says("window closed without a result", scene.since)
    wait_for(closed, "the tool's window to close")


@scenario
def edges_are_as_fine_as_the_screen(scene):
    scene.begin_drag("gtk3", address(scene.picture()))
    scene.open_wheel()
    scale, display = scene.scale(), scene.display
    expect_round(display, scene.window, RING * scale, 2 * RING * scale)
    scene.release()
    scene.expect_end()
    forget_source(scene)

    panel = fail_a_job(scene)
    expect_round(display, panel, PANEL_RADIUS * scale)

    window = open_merge(scene)
    expect_round(display, window, WINDOW_RADIUS * scale)
    close_tool(scene)


@contextlib.contextmanager
def shadows(scene):
    configuration = scene.desktop.folder / "shadows"
    configuration.write_text(SHADOWS)
    manager = scene.desktop.run("picom", ["picom", "--config", configuration])
    wait_for(lambda: scene.display.selection_owner("_NET_WM_CM_S0"), "the compositing manager")
    try:
        yield
    finally:
        scene.desktop.end(manager)
        wait_for(lambda: not scene.display.selection_owner("_NET_WM_CM_S0"), "its end")


@scenario
def no_frame_of_shadow_around_round_windows(scene):
    with shadows(scene):
        scene.begin_drag("gtk3", address(scene.picture()))
        scene.open_wheel()
        time.sleep(0.3)  # it is all there
        expect_no_shadow(scene, scene.window, "the wheel")
        scene.release()
        scene.expect_end()
        forget_source(scene)

        panel = fail_a_job(scene)
        time.sleep(0.3)
        expect_no_shadow(scene, panel, "the panel")

        window = open_merge(scene)
        time.sleep(0.3)
        expect_no_shadow(scene, window, "the tool's window")
        close_tool(scene)


def main():
    if not shutil.which("picom"):
        print("missing: picom")
        return 77
    return scenarios.main()


if __name__ == "__main__":
    sys.exit(main())
