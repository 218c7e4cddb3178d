#!/usr/bin/env python3
"""End-to-end scenarios on compositors of the wlroots family: no screen, injected input, real drag sources, and the files
on disk. Their own key bindings run “pelgra tap”, as the manual has it.

Usage: wlroots_scenarios.py COMPOSITOR APPLICATION SOURCE-FOLDER [--only REGEX] [--repeat COUNT]
COMPOSITOR is sway or labwc. Exit status 77 where it or something else it takes is missing.
"""
import argparse
import functools
import os
import re
import shutil
import signal
import subprocess
import sys

import kwin_scenarios
from desktop import Failure, wait_for
from kwin_scenarios import GROUND, TARGET_SIDE, TARGETS_FROM_EDGE, Scene, run_scenario
from wayland import SHIFT, VirtualInput

SCENARIOS = []


def scenario(function):
    SCENARIOS.append(function)
    return function


class Wlroots(kwin_scenarios.KWin):
    size = (1280, 800)  # of the desktop

    def __init__(self, application, sources, scales=(1,), **options):
        super().__init__(application, sources, **options)
        self.command = self.application.parent / "pelgra"
        self.scales = scales  # of screens side by side

    def offered_input(self):
        return VirtualInput.offered(self.folder / "run" / self.environment["WAYLAND_DISPLAY"], self.size)

    def x_server(self):
        """The line of the process that listens there."""
        return subprocess.run(["pgrep", "--full", "--list-full", f"Xwayland {self.environment['DISPLAY']} "],
                              capture_output=True, text=True, check=True).stdout

    def start_headless(self, command):
        self.environment |= {"WLR_BACKENDS": "headless", "WLR_LIBINPUT_NO_DEVICES": "1", "WLR_RENDERER": "pixman",
                             "WLR_HEADLESS_OUTPUTS": str(len(self.scales))}
        self.compositor = self.run(self.name, command)


class Sway(Wlroots):
    name = "sway"

    def start_compositor(self, teller):
        lines = [f"xwayland {'enable' if self.has_x11 else 'disable'}", "default_border none"]
        x = 0
        for index, scale in enumerate(self.scales, 1):
            lines.append(f"output HEADLESS-{index} resolution 1280x800 position {x} 0 scale {scale}")
            x += round(1280 / scale)
        self.size = (x, 800)
        lines += [f"bindsym --no-repeat Shift_L exec {self.command} tap convert",
                  f"bindsym --no-repeat Super_L exec {self.command} tap tools", f"exec {teller}"]
        config = self.folder / "sway.conf"
        config.write_text("\n".join(lines) + "\n")
        self.start_headless(["sway", "--config", config])


class Labwc(Wlroots):
    name = "labwc"
    size = (1280, 720)
    RULES = '<windowRules><windowRule identifier="*"><action name="Maximize"/></windowRule></windowRules>'

    def start_compositor(self, teller):
        folder = self.folder / "home/.config/labwc"
        folder.mkdir()
        keys = "".join(f'<keybind key="{key}"><action name="Execute" command="{self.command} tap {wheel}"/></keybind>'
                       for key, wheel in (("Shift_L", "convert"), ("Super_L", "tools")))
        (folder / "rc.xml").write_text(f"<labwc_config><keyboard>{keys}</keyboard>{self.RULES}</labwc_config>")
        self.start_headless(["labwc", "--startup", teller])


for source_kind in ("qt6", "gtk3", "gtk4"):
    def converts(scene, kind=source_kind):
        scene.start_source(kind, scene.picture())
        scene.pick_up()
        scene.open_wheel()
        scene.drop_on_jpg()
        scene.expect_files("photo.png", "photo.jpg")
    converts.__name__ = f"{source_kind}_drop_converts"
    scenario(converts)


for manager, column in (("thunar", 240), ("pcmanfm-qt", 200)):
    def converts_from_manager(scene, manager=manager, column=column):
        file = scene.picture()
        scene.source = scene.desktop.run(manager, [manager, file.parent],
                                         {"QT_QPA_PLATFORM": "wayland", "GDK_BACKEND": "wayland"})
        # The only item, at the left beside the places, whatever stands above it.
        scene.pick_up([(column, y) for y in (150, 170, 124, 140)])
        scene.open_wheel()
        scene.drop_on_jpg()
        scene.expect_files("photo.png", "photo.jpg")
    converts_from_manager.__name__ = f"{manager.replace('-', '_')}_drop_converts"
    scenario(converts_from_manager)


SCENARIOS += [kwin_scenarios.super_opens_the_tools_and_shift_switches,
              kwin_scenarios.a_release_beside_the_ring_does_nothing,
              kwin_scenarios.a_drag_well_away_gets_the_desktop_back_and_may_return]


@scenario
def another_start_with_files_opens_a_wheel(scene):
    """In the middle of the screen: the place of a pointer that rests is told to nobody."""
    scene.middle = [length / 2 for length in scene.desktop.size]
    scene.open_alone(scene.middle)
    scene.glide(scene.petal(0, 5))
    scene.release_click()
    scene.expect_files("photo.png", "photo.jpg")


def typing_looks_for_no_drag(compositor, application, sources):
    with compositor(application, sources) as desktop:
        for count in range(1, 6):
            desktop.input.tap(SHIFT)
            wait_for(lambda: desktop.app.text().count("Tap heard") == count, "the tap to be heard")
        if desktop.app.says("Looking for a drag"):
            raise Failure("a surface was spread for nothing")


def doctor_tells_of_the_bindings(compositor, application, sources):
    with compositor(application, sources) as desktop:
        kwin_scenarios.expect_doctor(desktop, "Dragging needs one more step: let the compositor tell Pelgra of keys",
                                     "Xwayland (beginnings)")


def session_without_x11(compositor, application, sources):
    """Nobody tells of drags there; the entries of file managers open a wheel."""
    with compositor(application, sources, has_x11=False) as desktop:
        kwin_scenarios.expect_doctor(desktop, "Right-click files and choose Convert with Pelgra", "none")
        run_scenario(desktop, another_start_with_files_opens_a_wheel, 0)


def x_server_dies(compositor, application, sources):
    with compositor(application, sources) as desktop:
        server = int(re.search(r"\d+", desktop.x_server())[0])
        os.kill(server, signal.SIGKILL)
        desktop.app.wait_for("The X server has gone")
        run_scenario(desktop, another_start_with_files_opens_a_wheel, 0)


def compositor_dies(compositor, application, sources):
    with compositor(application, sources) as desktop:
        os.kill(desktop.compositor.pid, signal.SIGKILL)
        status = desktop.app.status()
        if status < 0:
            raise Failure(f"the application ended by signal {-status}")


def targets_open_wheels(compositor, application, sources):
    """Near the edge, whatever is dragged."""
    with compositor(application, sources, settings="dragTargets=true") as desktop:
        kwin_scenarios.expect_doctor(desktop, "Drag files onto a target that appears at the edge of the screen",
                                     "Xwayland (beginnings)")
        width, height = desktop.size
        x, above_middle = width - TARGETS_FROM_EDGE - TARGET_SIDE / 2, height / 2 - TARGET_SIDE / 2
        for source in ("qt6", "gtk3", "gtk4"):
            scene = Scene(desktop, source)
            scene.start_source(source, scene.picture())
            scene.pick_up()
            scene.open_wheel_by_target((x, above_middle), "convert")
            scene.drop_on_jpg()
            scene.expect_files("photo.png", "photo.jpg")
            scene.close()


def screens_of_two_scales(compositor, application, sources):
    """A drag from one to the other, and the wheel there."""
    with compositor(application, sources, scales=(1, 1.5)) as desktop:
        for name, place in (("first", GROUND), ("second", (1280 + 400, 250))):
            scene = Scene(desktop, name)
            scene.start_source("gtk3", scene.picture())
            scene.pick_up(point=place)
            scene.open_wheel()
            scene.drop_on_jpg()
            scene.expect_files("photo.png", "photo.jpg")
            scene.close()


SESSIONS = {"sway": [typing_looks_for_no_drag, doctor_tells_of_the_bindings, session_without_x11, x_server_dies,
                     compositor_dies, screens_of_two_scales, targets_open_wheels],
            "labwc": [typing_looks_for_no_drag, doctor_tells_of_the_bindings, targets_open_wheels]}
COMPOSITORS = {"sway": Sway, "labwc": Labwc}


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("compositor", choices=COMPOSITORS)
    parser.add_argument("application")
    parser.add_argument("sources")
    parser.add_argument("--only", default="")
    parser.add_argument("--repeat", type=int, default=1)
    options = parser.parse_args()
    lacking = [name for name in (options.compositor, "Xwayland", "dbus-daemon", "thunar", "pcmanfm-qt") if not shutil.which(name)]
    if lacking:
        print("skipped, missing: " + ", ".join(lacking))
        return 77
    compositor = COMPOSITORS[options.compositor]

    def bound(session):
        whole = functools.partial(session, compositor)
        whole.__name__ = session.__name__
        return whole
    failed = kwin_scenarios.run_scenarios(lambda: compositor(options.application, options.sources), SCENARIOS, options)
    failed += kwin_scenarios.run_sessions([bound(session) for session in SESSIONS[options.compositor]], options)
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
