#!/usr/bin/env python3
"""End-to-end scenarios: the application on its own desktop, real input, real drag sources, and the files on disk.

Usage: scenarios.py APPLICATION SOURCE-FOLDER [--only REGEX] [--slow]
Exit status 77 when the desktop's tools are missing.
"""
import argparse
import math
import os
import re
import shutil
import signal
import subprocess
import sys
import time

import pictures
from desktop import GTK_PYTHON, PATIENCE, WHEEL_SIDE, Desktop, Failure, wait_for

GROUND = (760, 430)  # nothing but the root window
RADIUS = 94  # the middle of the ring
TARGET_SIDE = 76  # of a target that opens a wheel, with what surrounds it
MAGIC = {b".png": b"\x89PNG", b".jpg": b"\xff\xd8\xff"}
BETWEEN_PRESSES = 0.6  # seconds; two presses in less are a double click, for which a program may have other plans,
APART = 12  # unless they are so many pixels apart
MOST_ATTEMPTS = 6  # to begin a drag
FIRST_PATIENCE = 1.0  # seconds that a source has to begin one; twice as many in each further attempt
BUSY_SHARE = 0.25  # of a processor: more is no waiting
SCENARIOS = []


def scenario(function):
    SCENARIOS.append(function)
    return function


def slow(function):
    function.slow = True
    return scenario(function)


def address(path):
    """The file address of a path given as bytes or text."""
    encoded = "".join(chr(b) if chr(b).isalnum() and b < 128 or chr(b) in "/-._~" else f"%{b:02X}" for b in os.fsencode(path))
    return f"file://{encoded}\r\n".encode()


class Scene:
    """One scenario's folder, sources and steps, on the desktop that all share."""

    def __init__(self, desktop, name):
        self.desktop = desktop
        self.display = desktop.display
        self.app = desktop.app
        self.folder = desktop.folder / "work" / name
        self.folder.mkdir()
        self.since = self.app.mark()
        self.shown = len(self.display.shown)
        self.source = None

    def picture(self, name="photo.png", size=(12, 8)):
        path = os.path.join(os.fsencode(self.folder), os.fsencode(name))
        with open(path, "wb") as file:
            file.write(pictures.png(*size))
        return path

    def names(self):
        return sorted(os.listdir(os.fsencode(self.folder)))

    def expect_files(self, *names):
        wanted = sorted(os.fsencode(name) for name in names)
        try:
            wait_for(lambda: self.names() == wanted, "the files")
        except Failure:
            raise Failure(f"{self.names()} where {wanted} should be") from None
        for name in wanted:
            with open(os.path.join(os.fsencode(self.folder), name), "rb") as file:
                if not file.read(8).startswith(MAGIC[name[-4:]]):
                    raise Failure(f"{name} holds something else")

    def begin_drag(self, kind, content, point=GROUND, expect_session=True, **options):
        """Drags out of a new source to a point, with the button left down."""
        self.source = self.desktop.start_source(kind, content, **options)
        self.pick_up(point)
        if expect_session:
            self.app.wait_for("Drag session started", self.since)

    def drag_again(self, point=GROUND):
        """The next drag out of the same source."""
        self.since = self.app.mark()
        self.pick_up(point)
        self.app.wait_for("Drag session started", self.since)

    def pick_up(self, point=GROUND):
        """Begins a drag and moves to a point. A press that the source had no use for is repeated: what a real one does
        with it depends on what it is loading and drawing just then."""
        for attempt in range(MOST_ATTEMPTS):
            if self.press_and_drag(FIRST_PATIENCE * 2 ** attempt):
                self.glide(point)
                return
        raise Failure(f"{self.source.name} begins no drag")

    def press_and_drag(self, patience):
        x, y = self.grip()
        when, where = self.desktop.pressed
        if math.dist(where, (x, y)) < APART:
            time.sleep(max(0.0, when + BETWEEN_PRESSES - time.monotonic()))
        begun, said = self.display.drags(), self.source.mark()
        self.display.move(x, y)
        self.display.button(True)
        self.desktop.pressed = (time.monotonic(), (x, y))
        for step in range(1, 12):
            self.display.move(x + 4 * step, y + 2 * step)
            time.sleep(0.01)
        try:
            wait_for(lambda: self.display.drags() > begun, "the drag", patience)
            return True
        except Failure:
            print(f"pressing again at {x}, {y}: within {patience} s {self.source.name} began no drag; it said "
                  f"{self.source.text()[said:]!r}", file=sys.stderr)
            self.release()
            return False

    def grip(self):
        """The screen point where the source can be seized."""
        x, y = self.display.position(self.source.window)
        if self.source.grip:
            return x + self.source.grip[0], y + self.source.grip[1]
        attributes = self.display.attributes(self.source.window)
        return x + attributes.width // 2, y + attributes.height // 2

    def catch_up(self):
        """Waits until the source has come to everything that it was told in this drag."""
        before = self.display.answered()
        self.display.ask_source()
        wait_for(lambda: self.display.answered() > before, f"{self.source.name} to catch up")

    def glide(self, point, steps=6):
        """Moves as a hand does: in steps that take time."""
        for step in range(1, steps + 1):
            self.display.move(point[0] + 3 * (step - steps), point[1])
            time.sleep(0.008)

    def tap(self, key="Shift_L", hold=False):
        self.display.key(key, True)
        if not hold:
            self.display.key(key, False)

    def open_wheel(self, key="Shift_L", kind="convert", hold=False):
        mark = self.app.mark()
        self.tap(key, hold)
        self.app.wait_for(f"Wheel shown: {kind}", mark)
        self.window = wait_for(self.desktop.wheel, "the wheel's window")

    def petal(self, index, count):
        """The screen point in the middle of a petal."""
        x, y = self.display.position(self.window)
        angle, middle = 2 * math.pi * index / count, WHEEL_SIDE / 2
        return (x + self.scale() * (middle + RADIUS * math.sin(angle)),
                y + self.scale() * (middle - RADIUS * math.cos(angle)))

    def scale(self):
        """Device pixels to a logical one, of the wheel where it is."""
        return self.display.attributes(self.window).width / WHEEL_SIDE

    def point_at(self, index, count):
        """Moves onto a petal and stays until it is highlighted, and a source knows that its drop is welcome."""
        point = self.petal(index, count)
        x, y = self.display.position(self.window)
        inside = [(int(point[0] - x), int(point[1] - y + 26 * self.scale()))]  # clear of the label
        before = wait_for(lambda: any(self.channels(inside)) and self.channels(inside), "the wheel's painting")
        self.glide(point)
        # By channel: a highlight may change the hue and hardly the brightness.
        wait_for(lambda: max((abs(a - b) for a, b in zip(self.channels(inside), before)), default=0) > 8, "the highlight")
        if self.source:
            self.catch_up()

    def channels(self, points):
        return [colour >> shift & 0xFF for colour in self.display.pixels(self.window, points) for shift in (0, 8, 16)]

    def release(self):
        self.display.button(False)

    def expect_panel(self):
        """Waits until a panel was shown since the scene began or this was asked last: it goes away by itself."""
        wait_for(lambda: self.display.has_shown(self.window, is_panel, self.shown), "the panel")
        self.shown = len(self.display.shown)

    def has_shown_targets(self):
        """Whether any were there since the scene began, even if only for a moment; once there is a wheel."""
        sizes = [(TARGET_SIDE * count, TARGET_SIDE) for count in (1, 2)]
        return self.display.has_shown(self.window, lambda *size: size in sizes, self.shown)

    def expect_end(self):
        self.app.wait_for("Drag session ended", self.since)
        wait_for(lambda: not self.desktop.wheel(), "the wheel to vanish")

    def start_again(self, *arguments):
        """A second start, whose request the running application carries out."""
        subprocess.run([self.desktop.application, *arguments], env=self.desktop.environment, check=True,
                       timeout=PATIENCE)

    def close(self):
        self.display.release_all()
        wait_for(lambda: not self.desktop.wheel(), "the wheel to vanish")
        if self.source:
            self.desktop.end(self.source)


class Idle:
    """A context in which the application waits and does hardly anything else."""

    def __init__(self, app, why):
        self.app = app
        self.why = why

    def __enter__(self):
        self.begin, self.used = time.monotonic(), self.app.processor_seconds()

    def __exit__(self, kind, *_):
        used, taken = self.app.processor_seconds() - self.used, time.monotonic() - self.begin
        if not kind and used > 0.1 + BUSY_SHARE * taken:
            raise Failure(f"{self.why} kept the application busy for {used:.2f} of {taken:.2f} s")


def drop_on_first_petal(scene, kind, files, key_held=False, **options):
    scene.begin_drag(kind, b"".join(address(file) for file in files), **options)
    scene.open_wheel(hold=key_held)
    scene.point_at(0, 5)
    scene.release()
    scene.app.wait_for(f"Dropped {len(files)} file(s) on JPG", scene.since)


for source_kind in ("qt6", "gtk3", "gtk4"):
    def converts(scene, kind=source_kind):
        drop_on_first_petal(scene, kind, [scene.picture()])
        scene.expect_files("photo.png", "photo.jpg")
        scene.expect_end()
        scene.source.wait_for("end copy")
    converts.__name__ = f"{source_kind}_drop_converts"
    scenario(converts)

    def move_only(scene, kind=source_kind):
        # Shift held through the drop, and a source that offers nothing but a move: the file must survive.
        drop_on_first_petal(scene, kind, [scene.picture()], key_held=True, actions="move")
        scene.expect_files("photo.png", "photo.jpg")
        scene.source.wait_for("end")
        if scene.source.says("delete"):
            raise Failure("the source was told to delete the file")
    move_only.__name__ = f"{source_kind}_move_only_keeps_the_file"
    scenario(move_only)

    def five_thousand(scene, kind=source_kind):
        paths = [scene.folder / f"a rather long name of photo {i:05}.png" for i in range(5000)]
        scene.begin_drag(kind, b"".join(address(path) for path in paths))
        if not scene.app.says("Drag session started with 5000 file(s)", scene.since):
            raise Failure("not all files were read")
        scene.release()
        scene.expect_end()
    five_thousand.__name__ = f"{source_kind}_five_thousand_files"
    scenario(five_thousand)

    def drags_text(scene, kind=source_kind):
        with Idle(scene.app, "a drag of text"):
            scene.begin_drag(kind, b"just text", type="text/plain", expect_session=False)
            scene.app.wait_for("Source answered", scene.since)
            for _ in range(20):
                scene.tap()
                time.sleep(0.01)
            scene.release()
            scene.source.wait_for("end")
        if scene.app.says("session started", scene.since) or scene.desktop.wheel():
            raise Failure("a drag of text began a session")
    drags_text.__name__ = f"{source_kind}_text_is_ignored"
    scenario(drags_text)


@scenario
def drop_between_petals_and_outside_does_nothing(scene):
    scene.begin_drag("qt6", address(scene.picture()))
    scene.open_wheel()
    scene.glide(GROUND)  # the hole of the ring
    scene.release()
    scene.expect_end()
    scene.expect_files("photo.png")
    if scene.app.says("Dropped", scene.since):
        raise Failure("a drop in the hole was taken")


@scenario
def qt6_second_drag_is_seen(scene):
    content = address(scene.picture())
    scene.begin_drag("qt6", content)
    for _ in range(3):
        scene.release()
        scene.expect_end()
        scene.drag_again()


@scenario
def odd_lists_keep_the_files_alone(scene):
    photo = scene.picture("b c%41#.png")
    odd = scene.picture(b"odd \xff\xfe.png")
    link = os.path.join(os.fsencode(scene.folder), b"link.png")
    os.symlink(photo, link)
    content = (b"# a comment\r\nhttps://example.org/web.png\r\n" + address(photo) + b"\r\n" + address(odd)
               + b"file://elsewhere.invalid/remote.png\r\nnonsense\r\n" + address(link))
    scene.begin_drag("gtk3", content)
    if not scene.app.says("started with 3 file(s)", scene.since):
        raise Failure("other than three files were found")
    scene.open_wheel()
    scene.point_at(0, 5)
    scene.release()
    scene.app.wait_for("Dropped 3 file(s) on JPG", scene.since)
    scene.expect_files("b c%41#.png", "b c%41#.jpg", b"odd \xff\xfe.png", b"odd \xff\xfe.jpg", "link.png", "link.jpg")


@scenario
def web_addresses_alone_start_nothing(scene):
    scene.begin_drag("gtk4", b"https://example.org/a.png\r\nhttp://example.org/b.png\r\n", expect_session=False)
    scene.app.wait_for("The drag holds no files", scene.since)
    for _ in range(10):
        scene.tap()
        time.sleep(0.03)
    scene.release()
    scene.source.wait_for("end")
    if scene.app.says("session started", scene.since):
        raise Failure("addresses of the web began a session")


@scenario
def tap_of_a_millisecond_opens_the_wheel(scene):
    scene.begin_drag("gtk3", address(scene.picture()))
    for key, kind in (("Shift_L", "convert"), ("Super_L", "tools")):
        scene.open_wheel(key, kind)
        scene.release()
        scene.expect_end()
        scene.drag_again()


@scenario
def targets_are_off_until_chosen(scene):
    scene.begin_drag("gtk3", address(scene.picture()), point=(240, 260))
    scene.open_wheel()  # what would have come with the start of the drag has come by now
    if scene.has_shown_targets():
        raise Failure("targets that nobody has asked for")
    scene.release()
    scene.expect_end()


@scenario
def panel_takes_no_focus(scene):
    scene.begin_drag("gtk3", address(scene.picture()))
    before = scene.display.focus()
    scene.open_wheel()
    if scene.display.focus() != before:
        raise Failure("the focus moved")


for source_kind in ("qt6", "gtk3", "gtk4"):
    def escape(scene, kind=source_kind):
        # GTK 4 goes on dragging after Escape and would still drop on the hidden panel.
        scene.begin_drag(kind, address(scene.picture()))
        scene.open_wheel()
        point = scene.petal(0, 5)
        scene.point_at(0, 5)
        scene.tap("Escape")
        scene.app.wait_for("Drag cancelled with the button still down", scene.since)
        wait_for(lambda: not scene.desktop.wheel(), "the wheel to vanish")
        scene.glide(point)
        scene.tap()
        scene.release()
        scene.source.wait_for("end")
        scene.expect_files("photo.png")
        if scene.app.says("Dropped", scene.since) or scene.app.text()[scene.since:].count("Wheel shown") != 1:
            raise Failure("the cancelled drag went on")
        scene.drag_again()
    escape.__name__ = f"{source_kind}_escape_refuses_the_drop"
    scenario(escape)


@scenario
def hung_source_costs_its_own_session_only(scene):
    scene.begin_drag("gtk3", address(scene.picture()), hang_after=0, expect_session=False)
    scene.source.wait_for("hang")
    with Idle(scene.app, "waiting for the hung source"):
        for _ in range(10):
            scene.tap()
            time.sleep(0.05)
    scene.release()
    scene.desktop.end(scene.source)
    if scene.app.says("session started", scene.since):
        raise Failure("a session without files")
    drop_on_first_petal(scene, "gtk3", [scene.picture()])
    scene.expect_files("photo.png", "photo.jpg")


@scenario
def source_hung_at_the_drop_holds_up_nothing(scene):
    scene.begin_drag("gtk3", address(scene.picture("first.png")), hang_after=1)
    scene.open_wheel()
    scene.point_at(0, 5)
    scene.release()
    scene.source.wait_for("hang")
    scene.expect_end()
    scene.start_again("--settings")  # comes back only once it was answered
    wait_for(lambda: scene.display.named("Pelgra Settings"), "the settings")
    scene.tap("Escape")
    hung, scene.since = scene.source, scene.app.mark()
    drop_on_first_petal(scene, "qt6", [scene.picture("second.png")], title="Pelgra second source")
    scene.expect_files("first.png", "first.jpg", "second.png", "second.jpg")
    scene.desktop.end(hung)


for source_kind in ("qt6", "gtk3", "gtk4"):
    def drops_late(scene, kind=source_kind):
        # On a busy machine the end of the drag is seen a good while before the source acts on it.
        scene.begin_drag(kind, address(scene.picture()))
        scene.open_wheel()
        scene.point_at(0, 5)
        scene.source.child.send_signal(signal.SIGSTOP)
        scene.release()
        scene.expect_end()
        time.sleep(1)
        scene.source.child.send_signal(signal.SIGCONT)
        scene.app.wait_for("Dropped 1 file(s) on JPG", scene.since)
        scene.expect_files("photo.png", "photo.jpg")
    drops_late.__name__ = f"{source_kind}_late_drop_counts"
    scenario(drops_late)


@scenario
def slow_source_is_waited_for(scene):
    scene.begin_drag("gtk3", address(scene.picture()), delay=0.7)
    scene.open_wheel()
    scene.point_at(0, 5)
    scene.release()
    scene.expect_end()
    scene.app.wait_for("Dropped 1 file(s) on JPG", scene.since)
    scene.expect_files("photo.png", "photo.jpg")


@scenario
def qt6_is_read_where_it_answers_no_stranger(scene):
    # Qt 6 answers only its current drop target, and with the right time. Stopped meanwhile, the application begins to
    # read when the drag is over another program's window, or back over the ground.
    other = scene.desktop.run("other", [GTK_PYTHON, "-c", OTHER_WINDOW])
    wait_for(lambda: scene.display.named("Pelgra test target"), "the other window")
    scene.source = scene.desktop.start_source("qt6", address(scene.picture()))
    for end in ((765, 530), (1200, 300)):
        scene.since, mark = scene.app.mark(), other.mark()
        scene.app.child.send_signal(signal.SIGSTOP)
        try:
            scene.pick_up((760, 530))
            other.wait_for("motion", mark)
            scene.glide(end)
        finally:
            scene.app.child.send_signal(signal.SIGCONT)
        scene.app.wait_for("Drag session started with 1 file(s)", scene.since)
        scene.display.move(*GROUND)
        scene.release()
        scene.expect_end()
    scene.desktop.end(other)


OTHER_WINDOW = """
import gi
gi.require_version("Gtk", "3.0")
gi.require_version("Gdk", "3.0")
from gi.repository import Gdk, Gtk
window = Gtk.Window(title="Pelgra test target")
window.set_default_size(400, 200)
window.drag_dest_set(Gtk.DestDefaults.ALL, [Gtk.TargetEntry.new("text/uri-list", 0, 0)], Gdk.DragAction.COPY)
window.connect("drag-motion", lambda *_: print("motion", flush=True))
window.connect("drag-data-received", lambda *_: print("received", flush=True))
window.move(600, 450)
window.show_all()
Gtk.main()
"""


@scenario
def full_screen_window_below_gets_the_drop_in_the_hole(scene):
    scene.source = scene.desktop.start_source("gtk3", address(scene.picture()))
    other = scene.desktop.run("other", [GTK_PYTHON, "-c", OTHER_WINDOW.replace("window.move(600, 450)", "window.fullscreen()")])
    below = wait_for(lambda: scene.display.named("Pelgra test target"), "the other window")
    wait_for(lambda: scene.display.position(below) == (0, 0), "the full screen")
    subprocess.run(["wmctrl", "-R", "Pelgra test source"], env=scene.desktop.environment, check=True)
    subprocess.run(["wmctrl", "-r", "Pelgra test source", "-b", "add,above"], env=scene.desktop.environment, check=True)
    scene.pick_up()
    scene.app.wait_for("Drag session started", scene.since)
    scene.open_wheel()
    wait_for(lambda: scene.display.top() == scene.window, "the wheel above everything")
    mark = other.mark()
    scene.glide(GROUND)
    other.wait_for("motion", mark)
    scene.catch_up()
    scene.release()
    other.wait_for("received", mark)
    scene.expect_end()
    scene.expect_files("photo.png")
    scene.desktop.end(other)


@scenario
def moved_modifiers_are_found(scene):
    set_up = subprocess.run(["xmodmap", "-e", "remove mod4 = Super_L", "-e", "add mod3 = Super_L"],
                            env=scene.desktop.environment, capture_output=True)
    if set_up.returncode:
        raise Failure(set_up.stderr.decode())
    try:
        scene.begin_drag("gtk3", address(scene.picture()))
        scene.open_wheel("Super_L", "tools")
    finally:
        subprocess.run(["xmodmap", "-e", "remove mod3 = Super_L", "-e", "add mod4 = Super_L"],
                       env=scene.desktop.environment, check=True)


# Where the first file of a folder stands in a window of the file manager: over its picture or its name, with or without
# the bar that warns the administrator.
FIRST_FILE = {"thunar": (215, 150), "pcmanfm-qt": (205, 128)}


def open_folder(scene, manager):
    """A window of a real file manager on the scene's folder, as the source."""
    scene.source = scene.desktop.run(manager, [manager, scene.folder])
    scene.source.window = wait_for(lambda: scene.display.showing(scene.folder.name), f"the window of {manager}")
    scene.source.grip = FIRST_FILE[manager]
    wait_for(scene.display.is_input_free, "keyboard and mouse")


def drag_files(scene, count, point):
    """Drags the first file of the open folder, or all of them. Again, where the file manager was not ready for that: the
    reason goes to the log."""
    for _ in range(MOST_ATTEMPTS):
        if count > 1:
            wait_for(lambda: scene.display.focus() != scene.display.root, "a focused window")
            for key, down in (("Control_L", True), ("a", True), ("a", False), ("Control_L", False)):
                scene.display.key(key, down)
        scene.since = scene.app.mark()
        scene.pick_up(point)
        line = scene.app.wait_for("Drag session started", scene.since)
        if f"started with {count} file(s)" in line:
            return
        print(f"dragging again: {count} file(s) should be dragged, but “{line}”", file=sys.stderr)
        scene.tap("Escape")
        scene.release()
    raise Failure(f"{scene.source.name} drags other than {count} files")


for manager in FIRST_FILE:
    def out_of(scene, command=manager):
        """One file with Shift tapped, then all of them with Shift held, out of a real file manager."""
        scene.picture("a photo.png")
        scene.picture(b"b \xc5\xbelu\xc5\xa5.png")
        open_folder(scene, command)
        outside = (1180, 650)
        drag_files(scene, 1, outside)
        scene.open_wheel()
        scene.point_at(0, 5)
        scene.release()
        scene.expect_files("a photo.png", "a photo.jpg", b"b \xc5\xbelu\xc5\xa5.png")
        scene.expect_end()

        os.remove(scene.folder / "a photo.jpg")
        drag_files(scene, 2, outside)
        scene.open_wheel(hold=True)
        scene.point_at(0, 5)
        scene.release()
        scene.expect_files("a photo.png", "a photo.jpg", b"b \xc5\xbelu\xc5\xa5.png", b"b \xc5\xbelu\xc5\xa5.jpg")
    out_of.__name__ = f"out_of_{manager}"
    slow(out_of)


def missing_tools():
    return [tool for tool in ("Xvfb", "openbox", "dbus-daemon", GTK_PYTHON) if not shutil.which(tool)]


def is_panel(width, height, scale=1):
    return 24 <= height / scale <= 120 and 100 <= width / scale <= 400


def panels(scene, scale=1):
    """The heads-up panels that are visible."""
    return scene.display.unmanaged_of(lambda width, height: is_panel(width, height, scale))


def main(before=lambda desktop: None, screen="1280x800x24"):
    """Runs the scenarios; what `before` starts on the desktop stays for all of them."""
    parser = argparse.ArgumentParser()
    parser.add_argument("application")
    parser.add_argument("sources")
    parser.add_argument("--only", default="")
    parser.add_argument("--scale", help="the application's scale factor")
    parser.add_argument("--slow", action="store_true", help="the real file managers instead of the quick scenarios")
    options = parser.parse_args()
    if missing_tools():
        print(f"missing: {missing_tools()}")
        return 77
    chosen = [s for s in SCENARIOS if re.search(options.only, s.__name__) and hasattr(s, "slow") == options.slow]
    failed = []
    with Desktop(options.application, options.sources, screen) as desktop:
        if options.scale:
            desktop.application_environment["QT_SCALE_FACTOR"] = options.scale
        before(desktop)
        desktop.start_application()
        lasting = list(desktop.processes)
        for function in chosen:
            begin = time.monotonic()
            scene = Scene(desktop, function.__name__)
            try:
                function(scene)
                scene.close()
                verdict = "passed"
            except Exception as problem:  # the others still tell something
                verdict = f"FAILED: {type(problem).__name__}: {problem}"
                failed.append(function.__name__)
                desktop.print_logs()
                desktop.display.release_all()
                for process in [p for p in desktop.processes if p not in lasting]:
                    desktop.end(process)
            print(f"{time.monotonic() - begin:6.2f} s  {function.__name__}: {verdict}", flush=True)
    print(f"{len(chosen) - len(failed)} of {len(chosen)} scenarios passed")
    return 1 if failed or not chosen else 0


if __name__ == "__main__":
    sys.exit(main())
