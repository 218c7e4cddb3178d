#!/usr/bin/env python3
"""End-to-end scenarios of starting: one instance, arguments, trays that come and go, logs, the host of automated tests.

Usage: shell_scenarios.py APPLICATION SOURCE-FOLDER [--only REGEX]
"""
import argparse
import re
import sys
import time

import pictures
import scenarios
from desktop import GTK_PYTHON, HERE, Desktop, Failure, wait_for
from scenarios import address
from tool_scenarios import Window, expect_pages
from tray import Tray, expect_labels

SCENARIOS = []
LAUNCHED = "Pelgra launched"


def scenario(function):
    SCENARIOS.append(function)
    return function


class Session:
    """One scenario's folder, and the processes of the application it starts, on the desktop that all share."""

    def __init__(self, desktop, name):
        self.desktop = desktop
        self.display = desktop.display
        self.name = name
        self.folder = desktop.folder / "work" / name
        self.folder.mkdir()
        self.started = []
        self.settings = desktop.folder / "home/.config/pelgra/pelgra.ini"

    def launch(self, *arguments, environment=None, waits=True):
        process = self.desktop.run(f"{self.name}-{len(self.started)}", [self.desktop.application, *arguments], environment)
        self.started.append(process)
        if waits:
            process.wait_for(LAUNCHED)
            self.desktop.app = process
        return process

    def hand_over(self, *arguments):
        """Starts the application once more, which must end well, without a word, while the first goes on."""
        process = self.launch(*arguments, waits=False)
        status = process.status()
        if status or LAUNCHED in process.text():
            raise Failure(f"the second start ended with {status}: {process.text()}")

    def picture(self, name):
        path = self.folder / name
        path.write_bytes(pictures.png(40, 30))
        return path

    def document(self, name, *sizes):
        path = self.folder / name
        path.write_bytes(pictures.document(*sizes))
        return path

    def wheel(self):
        """One that stays without a drag: a window with a title and the focus."""
        window = wait_for(lambda: self.display.named("Pelgra"), "the wheel")
        wait_for(lambda: self.display.focus() == window, "the focus of the wheel")
        return window

    def wait_for_window(self, title):
        return wait_for(lambda: self.display.named(title), f"the window “{title}”")

    def click_petal(self, index, count):
        scene = scenarios.Scene(self.desktop, f"{self.name} clicks")
        scene.window = self.wheel()
        scene.point_at(index, count)
        self.display.button(True)
        self.display.button(False)

    def close(self):
        self.display.release_all()
        for process in self.started:
            status = process.ask_to_end()
            if status:
                raise Failure(f"{process.name} ended with {status} when asked to end")
            self.desktop.end(process)


@scenario
def second_start_opens_the_settings(session):
    session.launch()
    session.hand_over()
    open_settings(session)


@scenario
def settings_quit_where_no_tray_does(session):
    first = session.launch()
    session.hand_over()
    window = open_settings(session)
    without_tray = session.display.attributes(window).height
    tray = Tray(session.desktop)
    tray.wait_for_item()
    session.hand_over()
    wait_for(lambda: session.display.attributes(window).height < without_tray, "the button to vanish")
    tray.stop()
    session.hand_over()
    wait_for(lambda: session.display.attributes(window).height == without_tray, "the button")
    session.display.key("Shift_L", True)
    press(session, "Tab")  # from the first control back to the last
    session.display.key("Shift_L", False)
    press(session, "space")
    if first.status():
        raise Failure(f"it ended with {first.child.returncode}")
    session.started.remove(first)


def press(session, key):
    session.display.key(key, True)
    session.display.key(key, False)


def open_settings(session):
    window = session.wait_for_window("Pelgra Settings")
    wait_for(lambda: session.display.focus() == window, "the focus of the settings")
    return window


@scenario
def start_with_the_session_shows_nothing_twice(session):
    first = session.launch("--background")
    session.hand_over("--background")
    session.hand_over("wheel", session.picture("photo.png"))  # what comes after has been answered
    session.wheel()
    if session.display.named("Pelgra Settings") or first.text().count("Wheel shown") != 1:
        raise Failure("a start with the session showed something")


@scenario
def second_start_with_files_shows_their_wheel(session):
    first = session.launch()
    session.hand_over("wheel", "--kind", "tools", session.document("a.pdf", (100, 200), (300, 400)))
    first.wait_for("Wheel shown: tools, 1 file(s)")
    session.click_petal(0, 2)
    wait_for((session.folder / "a Pages").is_dir, "the split pages")
    session.hand_over("wheel", session.picture("-odd name.png"), session.picture("b.png"))
    first.wait_for("Wheel shown: convert, 2 file(s)")


@scenario
def wheel_alone_ends_with_its_work(session):
    process = session.launch("wheel", "--", session.picture("photo.png"), waits=False)
    session.desktop.app = process
    process.wait_for("Wheel shown: convert, 1 file(s)")
    session.click_petal(0, 5)
    wait_for((session.folder / "photo.jpg").exists, "the picture")
    if process.status():
        raise Failure(f"it ended with {process.child.returncode}")
    session.started.remove(process)


@scenario
def ending_with_the_session_leaves_nothing_unfinished(session):
    process = session.launch()
    paper = session.document("paper.pdf", *[(595, 842)] * 200)
    session.hand_over("wheel", paper)
    session.wheel()
    for key in ("Tab", "Return"):
        session.display.key(key, True)
        session.display.key(key, False)
    process.wait_for("Job started: paper.jpg")
    wait_for(lambda: list(session.folder.glob(".*/*.jpg")), "the first page")
    if process.ask_to_end() or list(session.folder.iterdir()) != [paper]:
        raise Failure(f"ended with {process.child.returncode} and left {list(session.folder.iterdir())}")
    session.started.remove(process)


@scenario
def debugged_wheel_and_its_highlight(session):
    files = f"{session.picture('a.png')}::{session.picture('b.png')}"
    for kind, shown, petal, count in (("tools", "tools", 0, 1), ("Tools", "convert", 1, 4)):
        plain = debugged_wheel(session, files, kind, 99, shown, petal, count, lambda colours: any(colours))
        debugged_wheel(session, files, kind, petal, shown, petal, count, lambda colours: any(colours) and differ(colours, plain))


def debugged_wheel(session, files, kind, highlight, shown, petal, count, test):
    """Shows the wheel with a highlight, and waits for the colours of a petal to pass the test; the colours."""
    process = session.launch("-PelgraDebugWheel", files, "-PelgraDebugKind", kind, "-PelgraDebugHighlight", str(highlight))
    process.wait_for(f"Wheel shown: {shown}, 2 file(s)")
    scene = scenarios.Scene(session.desktop, f"{session.name} {shown} {highlight}")
    scene.window = session.wheel()
    x, y = session.display.position(scene.window)
    if abs(x + 150 - 640) > 1 or abs(y + 150 - 400) > 1:
        raise Failure(f"the wheel stands at {x}, {y}, not in the middle of the screen")
    left, top = scene.petal(petal, count)
    inside = [(int(left - x), int(top - y) + 26)]  # clear of the label
    if highlight >= count:
        process.wait_for(f"there is no petal {highlight}")
    wait_for(lambda: test(scene.channels(inside)), f"petal {petal} with {highlight} highlighted")
    colours = scene.channels(inside)
    process.stop()
    session.started.remove(process)
    return colours


def differ(colours, others):
    return max(abs(a - b) for a, b in zip(colours, others)) > 8


@scenario
def debugged_tool_window(session):
    files = [session.document(name, size) for name, size in (("a.pdf", (100, 200)), ("b.pdf", (300, 400)))]
    process = session.launch("-ToolWindowsDebug", "mergePDF", *files)
    scene = scenarios.Scene(session.desktop, f"{session.name} window")
    window = Window(scene, "Merge PDFs")
    window.click(window.width - 24 - 40, window.height - 40)
    process.wait_for(f"ToolWindowsDebug: mergePDF -> {session.folder}/a Merged.pdf")
    expect_pages(session.folder / "a Merged.pdf", (100, 200), (300, 400))


@scenario
def arguments_stand_before_the_settings_for_one_run(session):
    tray = Tray(session.desktop)
    session.launch("-convertKey", "option", "-toolsKey", "nonsense")
    item, _ = tray.wait_for_item()
    labels = ["Drag a file, then tap ⌥ to convert or ⌘ for tools", "-", "Settings…", "Check for Updates…", "-", "Quit Pelgra"]
    expect_labels(item, labels)
    scene = scenarios.Scene(session.desktop, f"{session.name} drag")
    scene.begin_drag("gtk3", address(scene.picture()))
    scene.tap("Shift_L")
    scene.open_wheel("Alt_L", "convert")
    scene.release()
    scene.expect_end()
    scene.close()
    tray.stop()
    if session.settings.exists():
        raise Failure("the arguments were written into the settings")


@scenario
def tray_comes_goes_and_returns(session):
    process = session.launch()
    for _ in range(3):
        tray = Tray(session.desktop)
        item, _ = tray.wait_for_item()
        if "Quit Pelgra" not in item.labels():
            raise Failure(f"the menu says {item.labels()}")
        tray.stop()
    if process.child.poll() is not None:
        raise Failure("it ended with the tray")
    session.hand_over()  # without a tray the settings are still at hand
    open_settings(session)


@scenario
def host_of_automated_tests_starts_nothing(session):
    tray = Tray(session.desktop)
    process = session.launch(environment={"XCTestConfigurationFilePath": ""}, waits=False)
    other = session.launch()  # no name on the bus is taken, so this one is the first
    tray.wait_for_item()
    tray.stop()
    status = process.ask_to_end()  # which it heeds only once it has started all that it will
    if status or process.text() or other.child.poll() is not None:
        raise Failure(f"the host of tests ended with {status} and said {process.text()!r}")
    session.started.remove(process)


@scenario
def asked_to_end_while_it_starts(session):
    for _ in range(5):
        process = session.launch(waits=False)
        status = process.ask_to_end()
        if status:
            raise Failure(f"it ended with {status}")
        session.started.remove(process)


@scenario
def verbose_keeps_the_standard_error(session):
    quiet = {"QT_LOGGING_RULES": "pelgra.drag=false"}
    process = session.launch("--verbose", environment=quiet)
    if process.says("pelgra.drag") or not process.says("pelgra.application: Pelgra launched"):
        raise Failure(process.text())


@scenario
def nonsense_is_refused(session):
    process = session.launch("--unknown", waits=False)
    if process.status() != 2 or not process.says("There is no option “--unknown”."):
        raise Failure(process.text())
    session.started.remove(process)


def settings_portal(session, command, group, key, value):
    return session.desktop.run(f"portal {command} {key}",
                               [GTK_PYTHON, HERE / "Sources/settings_portal.py", command, group, key, value])


def panel_picture(session):
    """What the one panel shows where it turns."""
    window = wait_for(lambda: scenarios.panels(session), "the panel")[0]
    return session.display.pixels(window, [(x, y) for x in range(14, 36, 2) for y in range(8, 32, 2)])


def is_still(session, samples=9, pause=0.05):
    """Whether a panel, which turns ten times a second, looks the same for several of its steps."""
    first = panel_picture(session)
    for _ in range(samples):
        time.sleep(pause)
        if panel_picture(session) != first:
            return False
    return True


@scenario
def settings_of_the_desktop_still_what_moves(session):
    """From the start, and as they change while a panel is shown."""
    paper = session.document("paper.pdf", *[(595, 842)] * 4000)
    for group, key, less, more in (("org.freedesktop.appearance", "reduced-motion", "uint32 1", "uint32 0"),
                                   ("org.gnome.desktop.interface", "enable-animations", "false", "true"),
                                   ("org.kde.kdeglobals.KDE", "AnimationDurationFactor", "'0'", "'1.5'")):
        portal = settings_portal(session, "serve", group, key, less)
        portal.wait_for("ready")
        process = session.launch()
        portal.wait_for(f"asked {group} {key}")
        session.hand_over("wheel", paper)
        session.wheel()
        press(session, "Tab")
        press(session, "Return")
        process.wait_for("Job started")
        wait_for(lambda: is_still(session), f"a panel that stands still since {key} is {less}")
        for value, stands_still in ((more, False), (less, True), (more, False)):
            change = settings_portal(session, "set", group, key, value)
            if change.status():
                raise Failure(change.text())
            wait_for(lambda: is_still(session) == stands_still, f"the effect of {key} {value}")
        if process.ask_to_end():
            raise Failure(f"it ended with {process.child.returncode}")
        session.started.remove(process)
        session.desktop.end(portal)


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("application")
    parser.add_argument("sources")
    parser.add_argument("--only", default="")
    options = parser.parse_args()
    if scenarios.missing_tools():
        print(f"missing: {scenarios.missing_tools()}")
        return 77
    failed = []
    chosen = [s for s in SCENARIOS if re.search(options.only, s.__name__)]
    for function in chosen:
        begin = time.monotonic()
        with Desktop(options.application, options.sources) as desktop:
            session = Session(desktop, function.__name__)
            try:
                function(session)
                session.close()
                verdict = "passed"
            except Exception as problem:  # the others still tell something
                verdict = f"FAILED: {type(problem).__name__}: {problem}"
                failed.append(function.__name__)
                desktop.print_logs()
        print(f"{time.monotonic() - begin:6.2f} s  {function.__name__}: {verdict}", flush=True)
    print(f"{len(chosen) - len(failed)} of {len(chosen)} scenarios passed")
    return 1 if failed or not chosen else 0


if __name__ == "__main__":
    sys.exit(main())
