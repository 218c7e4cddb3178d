#!/usr/bin/env python3
"""End-to-end scenarios on KWin under Wayland: no screen, injected input, real drag sources, and the files on disk.

Usage: kwin_scenarios.py APPLICATION SOURCE-FOLDER [--only REGEX] [--repeat COUNT]
Exit status 77 where KWin 6 or something else it takes is missing.
"""
import argparse
import contextlib
import math
import os
import pathlib
import re
import shutil
import statistics
import subprocess
import sys
import tempfile
import time
import urllib.parse

import pictures
from desktop import GTK_PYTHON, HERE, Failure, Process, basic_environment, wait_for
from tray import Tray
from wayland import CONTROL, ESCAPE, RETURN, RIGHT, SHIFT, SUPER, UP, FakeInput

SCREEN = (1280, 800)
RADIUS = 94  # the middle of the ring
TARGET_SIDE = 76  # of a target that opens a wheel, with what surrounds it
TARGETS_FROM_EDGE = 97
MOST_ATTEMPTS = 4  # to enter one
GROUND = (640, 400)
EDGE = 12  # beside the drag's threshold
SCENARIOS = []
ENTRY = HERE.parent.parent / "data/desktop/org.pelgra.Pelgra.desktop"
TESTER = pathlib.Path(sys.executable).resolve()
MENU = """<!DOCTYPE Menu PUBLIC "-//freedesktop//DTD Menu 1.0//EN" "http://www.freedesktop.org/standards/menu-spec/1.0/menu.dtd">
<Menu><Name>Applications</Name><DefaultAppDirs/><Include><All/></Include></Menu>
"""
KWINRC = """[Windows]
Placement=Maximizing
[Xwayland]
Scale=1
"""


class Application(Process):
    def shows(self, message, since, timeout):
        """Whether it says so in that time."""
        try:
            return bool(self.wait_for(message, since, timeout))
        except Failure:
            return False


def scenario(function):
    SCENARIOS.append(function)
    return function


class KWin:
    """The compositor, its X server, a session bus and the application. Use as a context."""

    name = "KDE"

    def __init__(self, application, sources, scale=1, outer=None, hides_keys=False, trusts_application=True,
                 has_x11=True, has_bus=True, traces=False, screens=1, settings=""):
        self.application = pathlib.Path(application).resolve()
        self.sources = pathlib.Path(sources).resolve()
        self.scale = scale
        self.outer = outer
        self.hides_keys = hides_keys  # from X11 programs
        self.trusts_application = trusts_application
        self.has_x11 = has_x11
        self.has_bus = has_bus
        self.traces = traces
        self.screens = screens  # side by side
        self.settings = settings  # lines of the application's
        self.processes = []

    def __enter__(self):
        try:
            return self.start()
        except Failure:
            self.print_logs()
            self.stop()
            raise

    def __exit__(self, *_):
        self.stop()

    def start(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="pelgra-kwin-"))
        for name in ("home/.config", "run", "work"):
            (self.folder / name).mkdir(mode=0o700, parents=True)
        (self.folder / "home/.config/kwinrc").write_text(KWINRC + "XwaylandEavesdrops=None\n" * self.hides_keys)
        (self.folder / "home/.config/pelgra").mkdir()
        (self.folder / "home/.config/pelgra/pelgra.ini").write_text(f"[General]\n{self.settings}\n")
        self.install_entries()
        self.environment = basic_environment(self.folder) | {
            "XDG_SESSION_TYPE": "wayland", "XDG_CURRENT_DESKTOP": self.name, "KWIN_COMPOSE": "Q",
            "LIBGL_ALWAYS_SOFTWARE": "1",
        }
        os.makedirs("/tmp/.X11-unix", mode=0o1777, exist_ok=True)
        if self.has_bus:
            self.run("bus", ["dbus-daemon", "--session", "--nofork", f"--address=unix:path={self.folder}/run/bus"])
            wait_for(lambda: (self.folder / "run/bus").exists(), "the session bus")
        # What the compositor starts learns the names of its displays.
        told = self.folder / "session"
        teller = self.folder / "tell"
        teller.write_text(f"#!/bin/sh\nenv >{told}.new && mv {told}.new {told}\nexec sleep 100000\n")
        teller.chmod(0o700)
        self.start_compositor(teller)
        wait_for(told.exists, "the compositor", 30)
        names = dict(line.split("=", 1) for line in told.read_text().splitlines() if "=" in line)
        self.environment |= {key: names[key] for key in ("WAYLAND_DISPLAY", "DISPLAY", "XAUTHORITY", "SWAYSOCK")
                             if names.get(key)}
        self.input = wait_for(self.offered_input, "leave to inject input")
        self.start_application()
        return self

    def offered_input(self):
        return FakeInput.offered(self.folder / "run/wayland-pelgra")

    def start_compositor(self, teller):
        """It starts this program once it is there."""
        subprocess.run(["kbuildsycoca6"], env=self.environment, capture_output=True, check=True)
        # A copy has no capability of the file, which some containers refuse to give.
        program = shutil.copy(shutil.which("kwin_wayland"), self.folder / "kwin_wayland")
        place = ["--wayland-display", self.outer] if self.outer else ["--virtual", "--output-count", self.screens]
        self.run("kwin", [program, *place, "--width", SCREEN[0], "--height", SCREEN[1], "--scale", self.scale,
                          *["--xwayland"] * self.has_x11, "--no-lockscreen", "--socket", "wayland-pelgra", teller])

    def install_entries(self):
        """KWin lets programs inject keys, or know of them, as the desktop entry of their executable says."""
        menus, entries = self.folder / "home/.config/menus", self.folder / "home/.local/share/applications"
        for folder in (menus, entries):
            folder.mkdir(parents=True)
        (menus / "applications.menu").write_text(MENU)
        # Of this name, so that the system's own entry of the interpreter does not count.
        (entries / f"{TESTER.name}.desktop").write_text("[Desktop Entry]\nType=Application\nName=Tests\n"
                                                        f"Exec={TESTER}\n"
                                                        "X-KDE-Wayland-Interfaces=org_kde_kwin_fake_input\n")
        if self.trusts_application:
            entry = ENTRY.read_text().replace("TryExec=pelgra-desktop\n", "")
            (entries / ENTRY.name).write_text(entry.replace("Exec=pelgra-desktop\n", f"Exec={self.application}\n"))

    def doctor(self):
        """What the application says about the session, by name."""
        done = subprocess.run([self.application, "--doctor"], env=self.environment, capture_output=True, text=True)
        if done.returncode:
            raise Failure(f"the doctor ended with {done.returncode}: {done.stderr}")
        return dict(line.split(": ", 1) for line in done.stdout.splitlines())

    def start_application(self):
        self.app = self.run("pelgra", [self.application], {"WAYLAND_DEBUG": "1"} if self.traces else None)
        self.app.wait_for("Pelgra launched")

    def run(self, name, command, environment=None):
        kind = Application if name == "pelgra" else Process
        process = kind(name, command, self.folder, self.environment | (environment or {}))
        self.processes.append(process)
        return process

    def end(self, process):
        process.stop()
        self.processes.remove(process)

    def print_logs(self):
        for process in self.processes:
            print(f"---- {process.name}\n{process.text()[-3000:]}", file=sys.stderr)

    def stop(self):
        if hasattr(self, "input"):
            self.input.close()
        for process in reversed(self.processes):
            process.stop()
        self.processes.clear()
        shutil.rmtree(self.folder, ignore_errors=True)


class Scene:
    """One scenario's folder, source and steps."""

    def __init__(self, desktop, name):
        self.desktop = desktop
        self.input = desktop.input
        self.app = desktop.app
        self.folder = desktop.folder / "work" / name
        self.folder.mkdir()
        self.since = self.app.mark()
        self.source = None

    def picture(self, name="photo.png"):
        path = self.folder / name
        path.write_bytes(pictures.png(12, 8))
        return path

    def expect_files(self, *names):
        wanted = sorted(names)
        try:
            wait_for(lambda: sorted(os.listdir(self.folder)) == wanted, "the files")
        except Failure:
            raise Failure(f"{sorted(os.listdir(self.folder))} where {wanted} should be") from None
        for name in names:
            if name.endswith(".jpg") and (self.folder / name).read_bytes()[:3] != b"\xff\xd8\xff":
                raise Failure(f"{name} holds something else")

    def start_source(self, kind, file, type="text/uri-list", through="wayland"):
        data = self.folder.parent / "dragged"
        data.write_text(f"file://{urllib.parse.quote(str(file))}\r\n" if file else "just text")
        command = {"qt6": [self.desktop.sources / "QtSource"], "gtk3": [GTK_PYTHON, HERE / "Sources/gtk3_source.py"],
                   "gtk4": [GTK_PYTHON, HERE / "Sources/gtk4_source.py"]}[kind]
        self.source = self.desktop.run(kind, command + ["--type", type, "--data", data],
                                       {"QT_QPA_PLATFORM": {"x11": "xcb"}.get(through, through), "GDK_BACKEND": through})

    def start_dolphin(self, file):
        self.source = self.desktop.run("dolphin", ["dolphin", file.parent], {"QT_QPA_PLATFORM": "wayland"})

    def pick_up(self, points=(GROUND,), point=GROUND):
        """Presses at these places in turn until a drag begins there, then takes it to the point."""
        turn = 0

        def drags():
            nonlocal turn
            x, y = points[turn % len(points)]
            turn += 1
            mark = self.app.mark()
            self.input.button(False)
            self.input.move(x, y)
            time.sleep(0.05)
            self.input.button(True)
            for step in range(1, EDGE):
                self.input.move(x + 4 * step, y + 2 * step)
                time.sleep(0.01)
            return self.app.shows("may have begun", mark, 0.5)
        wait_for(drags, "the source to drag", 30)
        self.glide(point)

    def glide(self, point, steps=6):
        for step in range(1, steps + 1):
            self.input.move(point[0] + 3 * (step - steps), point[1])
            time.sleep(0.01)
        self.place = point

    def nudge(self):
        self.place = (self.place[0] + 1, self.place[1])
        self.input.move(*self.place)

    def open_wheel(self, key=SHIFT, kind="convert"):
        """A tap, and a motion by one pixel; the seconds from that to the painted wheel, where they are measured."""
        mark = self.app.mark()
        begin = 0

        def opens():
            nonlocal begin
            self.input.tap(key)
            for _ in range(5):  # the surface may come later than this, and has gone again by the next tap
                time.sleep(0.1)
                begin = time.time()
                self.nudge()
                self.middle = self.place
                if self.app.shows(f"Wheel shown: {kind}", mark, 0.1):
                    return True
            return False
        wait_for(opens, "the wheel")
        return self.seconds_to_paint(begin, mark) if self.desktop.traces else None

    def open_wheel_by_target(self, place, kind):
        """Through the target there. A drag is found at the next movement."""
        for _ in range(MOST_ATTEMPTS):
            mark = self.app.mark()
            self.app.wait_for("Targets shown", self.since)
            self.glide(place)
            self.middle = place
            for step in range(100):
                if self.app.shows(f"Wheel shown: {kind}", mark, 0.05):
                    return
                self.middle = self.place = (place[0] - step % 8, place[1])
                self.input.move(*self.place)
            self.release()  # they had gone before the wheel came
            self.since = self.app.mark()
            self.pick_up()
        raise Failure("a target opens no wheel")

    def seconds_to_paint(self, begin, mark):
        """Until the application handed the compositor its next picture, as the trace of its requests has it."""
        def painted():
            shown = self.app.text()[mark:].partition("Wheel shown")[2]
            return re.search(r"^\[ *(\d+\.\d+)\].* -> wl_surface#\d+\.commit", shown, re.MULTILINE)
        wrap = 2 ** 32 / 1000  # the trace counts milliseconds of the clock
        return (float(wait_for(painted, "the picture")[1]) - begin * 1000) % wrap / 1000

    def petal(self, index, count):
        angle = 2 * math.pi * index / count
        return self.middle[0] + RADIUS * math.sin(angle), self.middle[1] - RADIUS * math.cos(angle)

    def release(self):
        time.sleep(0.05)
        self.input.button(False)

    def drop_on_jpg(self):
        mark = self.app.mark()
        self.glide(self.petal(0, 5))
        self.app.wait_for("The drag is accepted here", mark)
        self.release()
        self.app.wait_for("Dropped 1 file(s) on JPG", self.since)
        self.app.wait_for("Drag session ended", self.since)

    def open_alone(self, pointer):
        file = self.folder / "photo.png"
        if not file.exists():
            self.picture()
        self.input.move(*pointer)
        mark = self.app.mark()
        other = self.desktop.run("other", [self.desktop.application, "--kind", "convert", file])
        if other.status() != 0:
            raise Failure("the other start failed")
        self.desktop.end(other)
        self.app.wait_for("Wheel shown: convert", mark)

    def release_click(self):
        self.input.button(True)
        self.input.button(False)

    def close(self):
        self.input.button(False)
        for code in (SHIFT, SUPER, CONTROL, ESCAPE):
            self.input.key(code, False)
        if self.source:
            self.desktop.end(self.source)


for source_kind in ("qt6", "gtk3", "gtk4"):
    def converts(scene, kind=source_kind):
        scene.start_source(kind, scene.picture())
        scene.pick_up()
        seconds = scene.open_wheel()
        scene.drop_on_jpg()
        scene.expect_files("photo.png", "photo.jpg")
        return seconds
    converts.__name__ = f"{source_kind}_drop_converts"
    scenario(converts)


@scenario
def dolphin_drop_converts(scene):
    scene.start_dolphin(scene.picture())
    # The only item, beside the places; below a warning where the tests run as root.
    places = [(325, y) for y in (150, 105, 120, 135, 90, 165)]
    scene.pick_up(places)
    seconds = scene.open_wheel()
    scene.drop_on_jpg()
    scene.expect_files("photo.png", "photo.jpg")
    return seconds


@scenario
def a_drag_of_an_x11_program_is_left_alone(scene):
    """A surface that comes and goes during one does not catch it, and ends KWin 6.3."""
    scene.start_source("gtk3", scene.picture(), through="x11")
    scene.pick_up([(100, 100)])  # X11 windows choose their place
    scene.app.wait_for("in an X11 program", scene.since)
    for _ in range(3):
        scene.input.tap(SHIFT)
        scene.nudge()
    scene.release()
    scene.source.wait_for("end")
    if scene.app.says("Looking for a drag", scene.since):
        raise Failure("a surface was spread")


@scenario
def super_opens_the_tools_and_shift_switches(scene):
    scene.start_source("gtk3", scene.picture())
    scene.pick_up()
    scene.open_wheel(SUPER, "tools")
    scene.input.tap(SHIFT)
    scene.drop_on_jpg()
    scene.expect_files("photo.png", "photo.jpg")


@scenario
def super_opens_the_launcher_of_the_desktop_only_without_a_drag(scene):
    launcher = scene.desktop.run("launcher", [GTK_PYTHON, HERE / "Sources/kde_shortcut.py"])
    mark = 0

    def opens_when_the_key_goes_up():
        before = launcher.mark()
        scene.input.key(SUPER, False)
        launcher.wait_for("opened", before)

    def wheel_opens_while_the_key_is_held():
        nonlocal mark
        mark = launcher.mark()
        scene.input.key(SUPER, True)
        for _ in range(5):
            scene.nudge()
            if scene.app.shows("Wheel shown: tools", scene.since, 0.1):
                return True
        scene.input.key(SUPER, False)
        return False

    try:
        launcher.wait_for("ready")
        scene.input.key(SUPER, True)
        opens_when_the_key_goes_up()
        scene.start_source("gtk3", scene.picture())
        scene.pick_up()
        wait_for(wheel_opens_while_the_key_is_held, "the wheel")
        held = scene.app.mark()
        scene.input.key(SUPER, False)
        scene.app.wait_for("Shortcuts of the desktop work again", held)
        scene.release()
        scene.source.wait_for("end")
        if launcher.says("opened", mark):
            raise Failure("it opened in a drag")
        # One that ends where nobody sees it, so that it may still go on.
        ends = scene.source.mark()
        scene.pick_up()
        scene.release()
        scene.source.wait_for("end", ends)
        began = scene.app.mark()
        scene.input.key(SUPER, True)
        scene.app.wait_for("Shortcuts of the desktop work again", began)
        time.sleep(0.2)  # the compositor has heard of it
        opens_when_the_key_goes_up()
    finally:
        scene.desktop.end(launcher)


@scenario
def a_release_beside_the_ring_does_nothing(scene):
    scene.start_source("qt6", scene.picture())
    scene.pick_up()
    scene.open_wheel()
    scene.glide((scene.middle[0] + 190, scene.middle[1]))
    scene.release()
    scene.app.wait_for("Drag session ended", scene.since)
    if scene.app.says("Dropped", scene.since):
        raise Failure("a drop beside the ring was taken")
    scene.expect_files("photo.png")


@scenario
def escape_cancels(scene):
    scene.start_source("gtk3", scene.picture())
    scene.pick_up()
    scene.open_wheel()
    scene.glide(scene.petal(0, 5))
    scene.input.tap(ESCAPE)
    scene.app.wait_for("Drag session ended", scene.since)
    scene.release()
    scene.source.wait_for("end")
    scene.expect_files("photo.png")


@scenario
def a_drag_well_away_gets_the_desktop_back_and_may_return(scene):
    scene.start_source("gtk4", scene.picture())
    scene.pick_up()
    scene.open_wheel()
    scene.glide((scene.middle[0] + 420, scene.middle[1] + 100))
    scene.app.wait_for("Drag session ended", scene.since)
    mark = scene.app.mark()
    scene.open_wheel()
    if not scene.app.says("Drag session started", mark):
        raise Failure("the second wheel has no session of its own")
    scene.drop_on_jpg()
    scene.expect_files("photo.png", "photo.jpg")


@scenario
def text_and_taps_without_a_drag_open_nothing(scene):
    scene.start_source("gtk3", None, "text/plain")
    scene.pick_up()
    scene.input.tap(SHIFT)
    time.sleep(0.1)
    scene.nudge()
    scene.release()
    scene.source.wait_for("end")
    for _ in range(5):
        scene.input.tap(SHIFT)
        time.sleep(0.1)
    if scene.app.says("Wheel shown", scene.since) or scene.app.says("session started", scene.since):
        raise Failure("a wheel opened for nothing")


@scenario
def another_start_with_files_opens_a_wheel_at_the_pointer(scene):
    scene.open_alone((930, 260))
    scene.middle = (930, 260)
    scene.glide(scene.petal(0, 5))
    scene.release_click()
    scene.expect_files("photo.png", "photo.jpg")


@scenario
def a_wheel_alone_takes_keys_and_a_click_beside_it_closes_it(scene):
    scene.open_alone(GROUND)
    scene.glide((300, 700))
    scene.release_click()
    scene.open_alone(GROUND)
    scene.input.tap(RIGHT)
    scene.input.tap(RETURN)
    scene.expect_files("photo.png", "photo.jpg")


@scenario
def the_panel_lets_clicks_through_and_leaves_the_focus(scene):
    scene.start_source("qt6", scene.picture())
    scene.pick_up()
    scene.open_wheel()
    scene.drop_on_jpg()
    scene.expect_files("photo.png", "photo.jpg")
    # The panel stands where the files were dropped, for more than a second.
    scene.pick_up((scene.place,), scene.place)


@scenario
def a_click_on_the_tray_opens_a_menu_that_takes_keys(scene):
    tray = Tray(scene.desktop)
    item, _ = tray.wait_for_item()
    scene.input.move(600, 300)
    item.click()

    def quits():
        for key in (UP, RETURN):  # the last line; lost while there is no menu yet
            scene.input.tap(key)
        return scene.app.child.poll() is not None
    wait_for(quits, "the menu to quit the application")
    tray.stop()
    scene.desktop.end(scene.app)
    if scene.app.status() != 0:
        raise Failure(f"it ended with {scene.app.status()}")
    scene.desktop.start_application()


def gesture_where_x11_is_shown_no_keys(application, sources):
    with KWin(application, sources, hides_keys=True) as desktop:
        expect_doctor(desktop, "Drag files and tap Shift or Super", "Xwayland (beginnings), key state of KWin")
        run_scenario(desktop, SCENARIOS[0], 0)


def session_without_keys(application, sources):
    with KWin(application, sources, hides_keys=True, trusts_application=False) as desktop:
        expect_doctor(desktop, "Dragging needs one more step: let legacy X11 apps read modifier keys", "Xwayland (beginnings)")


def session_without_x11(application, sources):
    with KWin(application, sources, has_x11=False) as desktop:
        expect_doctor(desktop, "Right-click files and choose Convert with Pelgra", "key state of KWin")
        run_scenario(desktop, another_start_with_files_opens_a_wheel_at_the_pointer, 0)


def session_without_a_bus(application, sources):
    with KWin(application, sources, trusts_application=False, has_bus=False) as desktop:
        expect_doctor(desktop, "Drag files and tap Shift or Super", "Xwayland (beginnings and keys)")
        run_scenario(desktop, SCENARIOS[0], 0)


def gesture_on_the_second_screen(application, sources):
    with KWin(application, sources, screens=2) as desktop:
        scene = Scene(desktop, "second")
        scene.start_source("gtk3", scene.picture())
        scene.pick_up(point=(SCREEN[0] + 500, 300))
        scene.open_wheel()
        scene.drop_on_jpg()
        scene.expect_files("photo.png", "photo.jpg")
        scene.close()


SESSIONS = [gesture_on_the_second_screen, gesture_where_x11_is_shown_no_keys, session_without_keys, session_without_x11, session_without_a_bus]


def expect_doctor(desktop, sentence, sources):
    told = desktop.doctor()
    if told["what works"] != sentence or told["drags told by"] != sources:
        raise Failure(f"the doctor says {told}")


def run_scenario(desktop, scenario_, turn):
    scene = Scene(desktop, f"{scenario_.__name__}-{turn}")
    try:
        return scenario_(scene)
    finally:
        scene.close()


def missing():
    needed = [name for name in ("kwin_wayland", "Xwayland", "dbus-daemon", "dolphin", "kbuildsycoca6") if not shutil.which(name)]
    if not needed:
        version = re.search(r"kwin (\d+)", subprocess.run(["kwin_wayland", "--version"], capture_output=True, text=True,
                                                        env=os.environ | {"QT_QPA_PLATFORM": "offscreen"}).stdout)
        if not version or int(version[1]) < 6:
            needed.append("KWin 6")
    return needed


def run_scenarios(make_desktop, scenarios, options):
    """How many failed, on one desktop."""
    chosen = [s for s in scenarios if re.search(options.only, s.__name__)]
    failed = 0
    if not chosen:
        return failed
    with make_desktop() as desktop:
        for scenario_ in chosen:
            passed, seconds = 0, []
            for turn in range(options.repeat):
                mark = desktop.app.mark()
                try:
                    seconds.append(run_scenario(desktop, scenario_, turn))
                    passed += 1
                except Failure as failure:
                    print(f"{scenario_.__name__}: {failure}\n{desktop.app.text()[mark:]}", file=sys.stderr)
            failed += passed < options.repeat
            measured = [value * 1000 for value in seconds if value is not None]
            latency = f", wheel painted after {statistics.median(measured):.0f} ms" if measured else ""
            print(f"{'ok' if passed == options.repeat else 'FAILED'} {scenario_.__name__} {passed}/{options.repeat}{latency}",
                  flush=True)
    return failed


def run_sessions(sessions, options):
    """Likewise, each on a desktop of its own."""
    failed = 0
    for session in (s for s in sessions if re.search(options.only, s.__name__)):
        try:
            session(options.application, options.sources)
            print(f"ok {session.__name__}", flush=True)
        except Failure as failure:
            print(f"FAILED {session.__name__}: {failure}", flush=True)
            failed += 1
    return failed


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("application")
    parser.add_argument("sources")
    parser.add_argument("--only", default="")
    parser.add_argument("--repeat", type=int, default=1)
    parser.add_argument("--scale", type=float, default=1)
    parser.add_argument("--latency", action="store_true", help="measures how long the wheel takes")
    parser.add_argument("--outer", metavar="SOCKET", help="shows the session on another compositor, to be looked at")
    options = parser.parse_args()
    if lacking := missing():
        print("skipped, missing: " + ", ".join(lacking))
        return 77

    def make_desktop():
        return KWin(options.application, options.sources, options.scale, options.outer, traces=options.latency)
    failed = run_scenarios(make_desktop, SCENARIOS, options) + run_sessions(SESSIONS, options)
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
