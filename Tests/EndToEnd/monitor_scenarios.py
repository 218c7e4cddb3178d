#!/usr/bin/env python3
"""Two monitors with different scale factors: where the wheel and the panel go, and which petal a drop meets.

Usage: monitor_scenarios.py APPLICATION SOURCE-FOLDER [--only REGEX]
"""
import shutil
import subprocess
import sys

import scenarios
from desktop import WHEEL_SIDE, Failure, wait_for
from scenarios import address, scenario

scenarios.SCENARIOS.clear()
# Left edge, scale; each 700 pixels wide and 800 high.
MONITORS = {"left": (0, 1), "right": (700, 2)}
WIDTH, HEIGHT = 700, 800
PANEL_MARGIN = 8


def set_up(desktop):
    for name, (left, _) in MONITORS.items():
        output = "screen" if left == 0 else "none"  # the server's only output can belong to one of them
        subprocess.run(["xrandr", "--setmonitor", name, f"{WIDTH}/185x{HEIGHT}/212+{left}+0", output],
                       env=desktop.environment, check=True, capture_output=True)
    factors = ";".join(f"{name}={scale}" for name, (_, scale) in MONITORS.items())
    desktop.application_environment["QT_SCREEN_SCALE_FACTORS"] = factors


def expect_inside(what, frame, name, margin):
    x, y, width, height = frame
    left = MONITORS[name][0]
    if x < left + margin or x + width > left + WIDTH - margin or y < margin or y + height > HEIGHT - margin:
        raise Failure(f"{what} at {frame} is not inside the {name} monitor")


def frame_of(display, window):
    attributes = display.attributes(window)
    return (*display.position(window), attributes.width, attributes.height)


def corners(name):
    left = MONITORS[name][0]
    # Not the top left one: the sources' windows are there on the left monitor.
    return [(left + WIDTH - 4, 4), (left + 4, HEIGHT - 4), (left + WIDTH - 4, HEIGHT - 4), (left + WIDTH // 2, HEIGHT // 2)]


for monitor in MONITORS:
    def wheel_stays(scene, name=monitor):
        scale = MONITORS[name][1]
        scene.begin_drag("qt6", address(scene.picture()))
        for point in corners(name):
            scene.glide(point)
            scene.open_wheel()
            frame = frame_of(scene.display, scene.window)
            if frame[2:] != (WHEEL_SIDE * scale, WHEEL_SIDE * scale):
                raise Failure(f"the wheel on the {name} monitor has the size {frame[2:]}")
            expect_inside("the wheel", frame, name, 0)
            scene.release()
            scene.expect_end()
            scene.drag_again()
    wheel_stays.__name__ = f"wheel_stays_on_the_{monitor}_monitor"
    scenario(wheel_stays)

    def drops_meet(scene, name=monitor):
        # One petal after the other; the panel follows where the drop was.
        scale = MONITORS[name][1]
        seen = set(scenarios.panels(scene, scale))
        scene.begin_drag("gtk3", address(scene.picture()))
        for index, petal in enumerate(("JPG", "HEIC", "TIFF", "BMP", "PDF")):
            scene.glide(corners(name)[index % 4])
            scene.open_wheel()
            scene.point_at(index, 5)
            scene.release()
            scene.app.wait_for(f"Dropped 1 file(s) on {petal}", scene.since)
            panel = wait_for(lambda: set(scenarios.panels(scene, scale)) - seen, "the panel").pop()
            expect_inside("the panel", frame_of(scene.display, panel), name, PANEL_MARGIN * scale)
            seen.add(panel)
            scene.expect_end()
            scene.drag_again()
    drops_meet.__name__ = f"drops_meet_their_petals_on_the_{monitor}_monitor"
    scenario(drops_meet)


def main():
    if not shutil.which("xrandr"):
        print("missing: xrandr")
        return 77
    return scenarios.main(before=set_up, screen=f"{2 * WIDTH}x{HEIGHT}x24")


if __name__ == "__main__":
    sys.exit(main())
