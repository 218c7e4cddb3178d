#!/usr/bin/env python3
"""End-to-end scenarios on GNOME Shell under Wayland: no screen, injected input, real drag sources, and the files on
disk. By the extension of the shell, by shortcuts of the desktop, and with neither.

Usage: gnome_scenarios.py APPLICATION SOURCE-FOLDER EXTENSION-FOLDER [--only REGEX] [--repeat COUNT]
Exit status 77 where GNOME Shell or something else it takes is missing.
"""
import argparse
import os
import pathlib
import re
import shutil
import statistics
import subprocess
import sys
import tempfile
import time

import kwin_scenarios
from desktop import Failure, basic_environment, wait_for
from kwin_scenarios import ENTRY, GROUND, Scene
from wayland import CONTROL, ESCAPE, LEFT_BUTTON, SHIFT, SUPER, UP

try:
    from gi.repository import Gio, GLib
except ImportError:
    Gio = None

SCREEN = (1280, 800)
UUID = "drags@pelgra.org"
ALT, LETTER_C, LETTER_P = 56, 46, 25
SETTINGS = """[org/gnome/shell]
welcome-dialog-last-shown-version='999'
enabled-extensions={extensions}
[org/gnome/mutter]
center-new-windows=true
[org/gnome/desktop/interface]
enable-animations=false
[org/gnome/desktop/screensaver]
lock-enabled=false
[org/gnome/desktop/session]
idle-delay=uint32 0
"""
# The user has agreed to them once; the dialog for that is the desktop's own.
SHORTCUTS = """[org/gnome/settings-daemon/global-shortcuts]
applications=['org.pelgra.Pelgra']
[org/gnome/settings-daemon/global-shortcuts/org.pelgra.Pelgra]
shortcuts=[('convert', {'description': <'Convert dragged files'>, 'shortcuts': <['<Control><Alt>c']>}), \
('tools', {'description': <'PDF tools for dragged files'>, 'shortcuts': <['<Control><Alt>p']>})]
"""
WITH_EXTENSION, WITH_SHORTCUTS, WITH_NEITHER = [], [], []


def scenario(*lists):
    def add(function):
        for scenarios in lists:
            scenarios.append(function)
        return function
    return add


class Bus:
    """Calls over the session bus."""

    def __init__(self, address):
        flags = Gio.DBusConnectionFlags.AUTHENTICATION_CLIENT | Gio.DBusConnectionFlags.MESSAGE_BUS_CONNECTION
        self.connection = Gio.DBusConnection.new_for_address_sync(address, flags, None, None)

    def call(self, name, path, interface, method, arguments=None):
        return self.connection.call_sync(name, path, interface, method, arguments, None, Gio.DBusCallFlags.NONE,
                                         60000, None).unpack()

    def has(self, name):
        return self.call("org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "NameHasOwner",
                         GLib.Variant("(s)", (name,)))[0]

    def close(self):
        self.connection.close_sync(None)


class RemoteInput:
    """Input that the compositor takes from a program that controls it from afar."""

    NAME = "org.gnome.Mutter.RemoteDesktop"

    def __init__(self, bus):
        self.bus = bus
        self.session = bus.call(self.NAME, "/" + self.NAME.replace(".", "/"), self.NAME, "CreateSession")[0]
        self.send("Start")
        self.pressed = set()
        self.place = SCREEN
        self.move(0, 0)
        self.place = (0, 0)

    def send(self, method, signature=None, *values):
        arguments = GLib.Variant(signature, values) if signature else None
        self.bus.call(self.NAME, self.session, self.NAME + ".Session", method, arguments)

    def move(self, x, y):
        self.send("NotifyPointerMotionRelative", "(dd)", x - self.place[0], y - self.place[1])
        self.place = (x, y)

    def button(self, down):
        self.press("NotifyPointerButton", "(ib)", LEFT_BUTTON, down)

    def key(self, code, down):
        self.press("NotifyKeyboardKeycode", "(ub)", code, down)

    def press(self, method, signature, code, down):
        if (code in self.pressed) != down:  # or it is an error
            self.pressed ^= {code}
            self.send(method, signature, code, down)

    def tap(self, code, seconds=0.03):
        self.key(code, True)
        time.sleep(seconds)
        self.key(code, False)

    def chord(self, letter):
        for code in (CONTROL, ALT):
            self.key(code, True)
        self.tap(letter)
        for code in (ALT, CONTROL):
            self.key(code, False)


class Gnome:
    """The shell, its X server, a session bus and the application. Use as a context."""

    traces = False

    def __init__(self, application, sources, extension, has_extension=True, has_shortcuts=False):
        self.application = pathlib.Path(application).resolve()
        self.sources = pathlib.Path(sources).resolve()
        self.extension = pathlib.Path(extension).resolve()
        self.has_extension = has_extension
        self.has_shortcuts = has_shortcuts
        self.processes = []

    def start(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="pelgra-gnome-"))
        settings = self.folder / "home/.config/glib-2.0/settings"
        data = self.folder / "home/.local/share"
        for folder in (settings, data / "gnome-shell/extensions", data / "applications", self.folder / "run",
                       self.folder / "work"):
            folder.mkdir(mode=0o700, parents=True)
        text = SETTINGS.format(extensions=[UUID] if self.has_extension else "@as []")
        (settings / "keyfile").write_text(text + SHORTCUTS * self.has_shortcuts)
        shutil.copytree(self.extension, data / "gnome-shell/extensions" / UUID)
        if self.has_shortcuts:
            (self.folder / "home/.config/pelgra").mkdir()
            (self.folder / "home/.config/pelgra/pelgra.ini").write_text("[General]\ndesktopShortcuts=true\n")
        entry = ENTRY.read_text().replace("TryExec=pelgra-desktop\n", "")
        (data / "applications" / ENTRY.name).write_text(entry.replace("Exec=pelgra-desktop\n", f"Exec={self.application}\n"))
        self.environment = basic_environment(self.folder) | {
            "GSETTINGS_BACKEND": "keyfile", "XDG_SESSION_TYPE": "wayland", "XDG_CURRENT_DESKTOP": "GNOME",
            "LIBGL_ALWAYS_SOFTWARE": "1",
        }
        address = self.environment["DBUS_SESSION_BUS_ADDRESS"]
        self.environment["DBUS_SYSTEM_BUS_ADDRESS"] = address  # the shell does not start without one
        os.makedirs("/tmp/.X11-unix", mode=0o1777, exist_ok=True)
        self.run("bus", ["dbus-daemon", "--session", "--nofork", f"--address={address}"])
        wait_for(lambda: (self.folder / "run/bus").exists(), "the session bus")
        self.bus = wait_for(self.connected, "the session bus to answer")
        self.start_shell()
        self.input = RemoteInput(self.bus)
        self.start_application()
        return self

    def connected(self):
        try:
            return Bus(self.environment["DBUS_SESSION_BUS_ADDRESS"])
        except GLib.Error:
            return None

    def start_shell(self):
        width, height = SCREEN
        self.shell = self.run("shell", ["gnome-shell", "--headless", "--wayland", "--virtual-monitor",
                                        f"{width}x{height}", "--wayland-display", "wayland-pelgra"])
        names = [self.shell.wait_for("Using public X11 display").split("display ", 1)[1].split(",")[0], "wayland-pelgra"]
        self.environment |= dict(zip(("DISPLAY", "WAYLAND_DISPLAY"), names))
        self.shell.wait_for("GNOME Shell started at")
        wait_for(lambda: self.bus.has(RemoteInput.NAME), "leave to inject input")
        authority = sorted((self.folder / "run").glob(".mutter-Xwaylandauth*"))
        self.environment["XAUTHORITY"] = str(authority[0])
        wait_for(self.has_overview, "the overview, with which a session begins")
        self.close_overview()

    def property(self, method, *more):
        return self.bus.call("org.gnome.Shell", "/org/gnome/Shell", "org.freedesktop.DBus.Properties", method,
                             GLib.Variant("(ss" + "v" * len(more) + ")", ("org.gnome.Shell", "OverviewActive", *more)))

    def has_overview(self):
        return self.property("Get")[0]

    def set_property(self, shown):
        self.property("Set", GLib.Variant("b", shown))

    def close_overview(self):
        """While it is still coming it does not go."""
        def stays_away():
            self.set_property(False)
            times = 0
            while not self.has_overview() and times < 20:
                time.sleep(0.05)
                times += 1
            return times == 20
        wait_for(stays_away, "the overview to go")

    def switch_extension(self, on):
        self.bus.call("org.gnome.Shell", "/org/gnome/Shell", "org.gnome.Shell.Extensions",
                      "EnableExtension" if on else "DisableExtension", GLib.Variant("(s)", (UUID,)))

    def start_application(self):
        self.app = self.run("pelgra", [self.application])
        self.app.wait_for("Pelgra launched")
        if self.has_extension:
            self.app.wait_for("The extension of GNOME Shell tells of drags")
        if self.has_shortcuts:
            self.app.wait_for("Shortcuts of the desktop: ")

    __enter__ = kwin_scenarios.KWin.__enter__
    __exit__ = kwin_scenarios.KWin.__exit__
    doctor = kwin_scenarios.KWin.doctor
    end = kwin_scenarios.KWin.end
    print_logs = kwin_scenarios.KWin.print_logs
    run = kwin_scenarios.KWin.run

    def stop(self):
        if hasattr(self, "bus"):
            self.bus.close()
            del self.bus
        for process in reversed(self.processes):
            process.stop()
        self.processes.clear()
        shutil.rmtree(self.folder, ignore_errors=True)


class GnomeScene(Scene):
    def __init__(self, desktop, name):
        super().__init__(desktop, name)
        if desktop.has_overview():
            desktop.close_overview()

    def start_source(self, *arguments, **named):
        super().start_source(*arguments, **named)
        self.source.wait_for("shown")
        self.input.key(SUPER, True)  # fills the screen
        self.input.tap(UP)
        self.input.key(SUPER, False)

    def start_nautilus(self, file):
        self.source = self.desktop.run("nautilus", ["nautilus", "--new-window", file.parent])

    def open_wheel(self, key=SHIFT, kind="convert"):
        """By a tap; the seconds to the wheel."""
        mark = self.app.mark()
        begin = 0

        def opens():
            nonlocal begin
            begin = time.monotonic()
            self.middle = self.place
            self.press(key)
            return self.app.shows(f"Wheel shown: {kind}", mark, 2)
        wait_for(opens, "the wheel")
        return time.monotonic() - begin

    def press(self, key):
        self.input.tap(key)


class ShortcutScene(GnomeScene):
    """The keys of the wheels are shortcuts, and a drag is found at its next movement."""

    def open_wheel(self, key=LETTER_C, kind="convert"):
        mark = self.app.mark()

        def opens():
            self.input.chord(key)
            for _ in range(5):  # the window may come later than this, and has gone again by the next try
                time.sleep(0.1)
                self.nudge()
                self.middle = self.place
                if self.app.shows(f"Wheel shown: {kind}", mark, 0.1):
                    return True
            return False
        wait_for(opens, "the wheel")


def drop_converts(kind):
    def converts(scene):
        scene.start_source(kind, scene.picture())
        scene.pick_up()
        seconds = scene.open_wheel()
        scene.drop_on_jpg()
        scene.expect_files("photo.png", "photo.jpg")
        return seconds
    converts.__name__ = f"{kind}_drop_converts"
    return scenario(WITH_EXTENSION, WITH_SHORTCUTS)(converts)


for source_kind in ("qt6", "gtk3", "gtk4"):
    drop_converts(source_kind)


@scenario(WITH_EXTENSION, WITH_SHORTCUTS)
def nautilus_drop_converts(scene):
    scene.start_nautilus(scene.picture())
    places = [(x, y) for y in (270, 300, 240) for x in (480, 520, 560, 440)]
    scene.pick_up(places)
    seconds = scene.open_wheel()
    scene.drop_on_jpg()
    scene.expect_files("photo.png", "photo.jpg")
    return seconds


@scenario(WITH_EXTENSION)
def super_opens_the_tools_and_shift_switches(scene):
    scene.start_source("gtk3", scene.picture())
    scene.pick_up()
    scene.open_wheel(SUPER, "tools")
    if scene.desktop.has_overview():
        raise Failure("Super opened the overview during a drag")
    scene.input.tap(SHIFT)
    scene.drop_on_jpg()
    scene.expect_files("photo.png", "photo.jpg")
    scene.input.tap(SUPER)
    wait_for(scene.desktop.has_overview, "the overview, which Super opens after a drag")
    scene.desktop.close_overview()


@scenario(WITH_EXTENSION)
def a_release_beside_the_ring_does_nothing(scene):
    scene.start_source("qt6", scene.picture())
    scene.pick_up()
    scene.open_wheel()
    scene.glide((scene.middle[0] + 190, scene.middle[1]))
    scene.release()
    scene.app.wait_for("Drag session ended", scene.since)
    scene.source.wait_for("end")
    scene.expect_files("photo.png")


@scenario(WITH_EXTENSION)
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


@scenario(WITH_EXTENSION)
def text_and_taps_without_a_drag_open_nothing(scene):
    scene.start_source("gtk3", None, "text/plain")
    scene.pick_up()
    scene.input.tap(SHIFT)
    scene.nudge()
    scene.release()
    scene.source.wait_for("end")
    scene.input.tap(SHIFT)
    # What comes later than a whole further drag does not come.
    scene.desktop.end(scene.source)
    scene.start_source("gtk3", scene.picture())
    scene.pick_up()
    scene.app.wait_for("Drag session started with 1 file(s)", scene.since)
    if scene.app.says("Wheel shown", scene.since):
        raise Failure("a wheel opened for nothing")


@scenario(WITH_EXTENSION)
def switching_the_extension_off_leaves_nothing(scene):
    scene.start_source("gtk3", scene.picture())
    scene.pick_up()
    scene.app.wait_for("Drag session started", scene.since)
    scene.desktop.switch_extension(False)
    scene.app.wait_for("no longer tells of drags", scene.since)
    scene.app.wait_for("Drag session ended", scene.since)
    scene.input.tap(SUPER)
    wait_for(scene.desktop.has_overview, "the overview, which Super opens again")
    scene.desktop.close_overview()
    scene.release()
    mark = scene.app.mark()
    scene.desktop.switch_extension(True)
    scene.app.wait_for("The extension of GNOME Shell tells of drags", mark)
    if scene.app.says("Wheel shown", scene.since):
        raise Failure("a wheel opened")


@scenario(WITH_EXTENSION, WITH_NEITHER)
def another_start_with_files_opens_a_wheel(scene):
    pointer, centre = (931, 261), (SCREEN[0] // 2, SCREEN[1] // 2)
    scene.open_alone(pointer)
    # In the middle where nothing moved for a moment: nobody tells where the pointer is.
    told = scene.app.wait_for("The pointer is at", scene.since)
    scene.middle = tuple(int(number) for number in re.findall(r"\d+", told))
    if scene.middle not in (pointer, centre):
        raise Failure(f"the wheel opened at {scene.middle}")
    scene.glide(scene.petal(0, 5))
    scene.release_click()
    scene.expect_files("photo.png", "photo.jpg")


@scenario(WITH_SHORTCUTS)
def a_tap_of_shift_switches_the_wheel_of_a_shortcut(scene):
    scene.start_source("gtk3", scene.picture())
    scene.pick_up()
    scene.open_wheel(LETTER_P, "tools")
    scene.input.tap(SHIFT)
    scene.drop_on_jpg()
    scene.expect_files("photo.png", "photo.jpg")


SESSIONS = {
    "extension": (GnomeScene, WITH_EXTENSION, {}, {
        "what works": "Drag files and tap Shift or Super", "extension of GNOME Shell": "on"}),
    "shortcuts": (ShortcutScene, WITH_SHORTCUTS, {"has_extension": False, "has_shortcuts": True}, {}),
    "neither": (GnomeScene, WITH_NEITHER, {"has_extension": False}, {"extension of GNOME Shell": "installed, off"}),
}


def run_scenario(desktop, kind, scenario_, turn):
    scene = kind(desktop, f"{scenario_.__name__}-{turn}")
    try:
        return scenario_(scene)
    finally:
        scene.close()


def run_session(options, name):
    """How many scenarios failed."""
    kind, scenarios, settings, told = SESSIONS[name]
    chosen = [s for s in scenarios if re.search(options.only, f"{name}: {s.__name__}")]
    failed = 0
    if not chosen:
        return failed
    with Gnome(options.application, options.sources, options.extension, **settings) as desktop:
        doctor = desktop.doctor()
        if wrong := {key: doctor[key] for key, value in told.items() if doctor[key] != value}:
            print(f"FAILED {name}: the doctor says {wrong}", flush=True)
            failed += 1
        for scenario_ in chosen:
            passed, seconds = 0, []
            for turn in range(options.repeat):
                mark = desktop.app.mark()
                try:
                    seconds.append(run_scenario(desktop, kind, scenario_, turn))
                    passed += 1
                except Failure as failure:
                    print(f"{scenario_.__name__}: {failure}\n{desktop.app.text()[mark:]}", file=sys.stderr)
            failed += passed < options.repeat
            measured = [value * 1000 for value in seconds if value is not None]
            latency = f", wheel after {statistics.median(measured):.0f} ms" if measured else ""
            verdict = "ok" if passed == options.repeat else "FAILED"
            print(f"{verdict} {name}: {scenario_.__name__} {passed}/{options.repeat}{latency}", flush=True)
    return failed


def missing():
    needed = [name for name in ("gnome-shell", "Xwayland", "dbus-daemon", "nautilus") if not shutil.which(name)]
    if not needed:
        version = re.search(r"(\d+)", subprocess.run(["gnome-shell", "--version"], capture_output=True, text=True).stdout)
        if not version or int(version[1]) < 45:
            needed.append("GNOME Shell 45")
    if Gio is None:
        needed.append("python3-gi")
    return needed


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("application")
    parser.add_argument("sources")
    parser.add_argument("extension")
    parser.add_argument("--only", default="", metavar="REGEX", help="of “session: scenario”")
    parser.add_argument("--repeat", type=int, default=1)
    options = parser.parse_args()
    if lacking := missing():
        print("skipped, missing: " + ", ".join(lacking))
        return 77
    return 1 if sum(run_session(options, name) for name in SESSIONS) else 0


if __name__ == "__main__":
    sys.exit(main())
