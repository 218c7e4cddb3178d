#!/usr/bin/env python3
"""Everything by keyboard, and what a screen reader learns of it over the accessibility bus.

Usage: accessibility_scenarios.py APPLICATION SOURCE-FOLDER [--only REGEX]
"""
import json
import signal
import subprocess
import sys

import pictures
import scenarios
from desktop import GTK_PYTHON, HERE, Failure, wait_for
from scenarios import scenario

scenarios.SCENARIOS.clear()
READER = "screen_reader"
MOST_CONTROLS = 40
MOST_JOBS = 3


def start_reader(desktop):
    desktop.run(READER, [GTK_PYTHON, HERE / "screen_reader.py"]).wait_for('"ready"')


class Reader:
    """The lines that the screen reader has told since this object was made."""

    def __init__(self, scene):
        self.process = next(process for process in scene.desktop.processes if process.name == READER)
        self.restart()

    def restart(self):
        self.since = self.process.mark()

    def lines(self):
        whole = self.process.text()[self.since:].rpartition("\n")[0]
        return [json.loads(line) for line in whole.splitlines()]

    def wait_for(self, test, what):
        return wait_for(lambda: next((line for line in self.lines() if test(line)), None), what)

    def hears(self, event, test, what):
        """Waits for an event of this kind whose source passes the test; the source."""
        return self.wait_for(lambda line: line.get("event", "").endswith(event) and test(line["source"]), what)["source"]

    def notifications(self):
        """The words of all that were shown so far, once the reader has come to what happened last."""
        since = self.since
        self.windows()
        self.since = since
        return {line["source"]["name"] for line in self.lines()
                if line.get("event", "").endswith("showing") and line["source"]["role"] == "notification"}

    def windows(self):
        self.restart()
        self.process.child.send_signal(signal.SIGUSR1)
        return self.wait_for(lambda line: "windows" in line, "the tree")["windows"]

    def window(self, title):
        def found():
            return next((w for w in self.windows() if w["name"] == title and "showing" in w["states"]), None)
        return wait_for(found, f"the window “{title}” in the tree")

    def focused(self, title):
        """The window's control that has the keyboard, if any."""
        self.restart()
        self.process.child.send_signal(signal.SIGUSR2)
        return self.wait_for(lambda line: "focus" in line, "the focus")["focus"].get(title)


def nodes(tree):
    """Everything that shows, a container before what it holds."""
    if "showing" not in tree["states"]:
        return
    yield tree
    for child in tree["children"]:
        yield from nodes(child)


def spoken(node):
    return node["label"] or node["name"]


def controls(window):
    """What can have the keyboard. The ring that holds the petals only hands it on to them."""
    return [node for node in nodes(window) if "focusable" in node["states"] and node["role"] != "panel"]


def press(scene, *keys):
    for key in keys:
        scene.display.key(key, True)
    for key in reversed(keys):
        scene.display.key(key, False)


def focus_next(scene, reader, title, key="Tab"):
    """Presses the key and waits for the focus to move; what has it then. Asked for, since events may be late."""
    before = wait_for(lambda: reader.focused(title), f"the focus in “{title}”")["path"]
    press(scene, key)

    def moved():
        now = reader.focused(title)
        return now if now and now["path"] != before else None
    return wait_for(moved, f"the focus in “{title}” to move after {key}")


def focus(scene, reader, title, name):
    """Presses Tab until the control of this name has the focus."""
    for _ in range(MOST_CONTROLS):
        if spoken(focus_next(scene, reader, title)) == name:
            return
    raise Failure(f"Tab does not reach “{name}”")


def open_wheel(scene, reader, *arguments):
    """A wheel with the keyboard; asked for again when the window manager gave that to another window just then."""
    scene.display.move(*scenarios.GROUND)

    def opened():
        scene.start_again("wheel", *arguments)
        try:
            window = wait_for(lambda: scene.display.named("Pelgra"), "the wheel", 1)
            return wait_for(lambda: scene.display.focus() == window and reader.focused("Pelgra"), "its focus", 1)
        except Failure:
            return None
    wait_for(opened, "the wheel")


def reach_items(scene, reader, window, arrow):
    """Goes from the first item of a list to the others by an arrow key, and through the buttons of each by Tab; what had
    the focus."""
    title = window["name"]
    items = [node for node in nodes(window) if node["role"] == "list item"]
    reached = set()
    if items:
        focus(scene, reader, title, spoken(items[0]))
    for item in items:
        for button in item["children"]:
            if "enabled" in button["states"] and "showing" in button["states"]:
                reached.add(focus_next(scene, reader, title)["path"])
        if item is not items[-1]:
            reached.add(focus_next(scene, reader, title, arrow)["path"])
    return reached


def expect_all_named_and_reached(scene, reader, window, least, arrow="Down"):
    found = controls(window)
    unnamed = [node for node in found if not spoken(node)]
    if unnamed:
        raise Failure(f"without a name: {unnamed}")
    wanted = {node["path"]: spoken(node) for node in found if "enabled" in node["states"]}
    if len(wanted) < least:
        raise Failure(f"only {sorted(wanted.values())} in “{window['name']}”")
    if window["role"] != "dialog":
        raise Failure(f"“{window['name']}” is a {window['role']}, which readers take for no window")
    reached = set()
    for _ in range(MOST_CONTROLS):
        path = focus_next(scene, reader, window["name"])["path"]
        if path in reached:
            break
        reached.add(path)
    reached |= reach_items(scene, reader, window, arrow)
    missing = [name for path, name in wanted.items() if path not in reached]
    if missing:
        raise Failure(f"no key reaches {missing} in “{window['name']}”")


def open_tool(scene, reader, tool, title, *files):
    """Opens a tool's window from the wheel without the mouse."""
    open_wheel(scene, reader, "--kind", "tools", *files)
    focus(scene, reader, "Pelgra", tool)
    press(scene, "Return")
    wait_for(lambda: scene.display.named(title), f"the window “{title}”")
    return reader.window(title)


def documents(scene, *names):
    for name in names:
        (scene.folder / name).write_bytes(pictures.document((200, 300), (300, 200), (250, 250)))
    return [str(scene.folder / name) for name in names]


def close_window(scene, title):
    press(scene, "Escape")
    wait_for(lambda: not scene.display.named(title), f"“{title}” to close")


@scenario
def wheel(scene):
    reader = Reader(scene)
    open_wheel(scene, reader, scene.picture())
    window = reader.window("Pelgra")
    names = [node["name"] for node in controls(window)]
    if names != ["JPG", "HEIC", "TIFF", "BMP", "PDF"]:
        raise Failure(f"the petals are {names}")
    expect_all_named_and_reached(scene, reader, window, 5)
    close_window(scene, "Pelgra")


@scenario
def settings(scene):
    reader = Reader(scene)
    scene.start_again("--settings")
    window = reader.window("Pelgra Settings")
    expect_all_named_and_reached(scene, reader, window, 7)
    labels = [spoken(node) for node in controls(window)]
    if labels != ["Convert key", "Tools key", "Show targets while dragging", "JPEG quality", "Launch at login",
                  "Check for updates automatically", "Quit Pelgra"]:  # there is no tray here
        raise Failure(f"the controls are {labels}")
    close_window(scene, "Pelgra Settings")


TOOLS = {"create": ("CREATE PDF", "Create a PDF", 6), "merge": ("MERGE PDF", "Merge PDFs", 6),
         "organize": ("ORGANIZE", "Organize PDF", 15)}

for tool in TOOLS:
    def tool_window(scene, tool=tool):
        reader = Reader(scene)
        petal, title, least = TOOLS[tool]
        files = {"create": lambda: [scene.picture("a.png"), scene.picture("b.png")],
                 "merge": lambda: documents(scene, "a.pdf", "b.pdf"),
                 "organize": lambda: documents(scene, "a.pdf")}[tool]()
        open_tool(scene, reader, petal, title, *files)
        wait_for(lambda: len([n for n in controls(reader.window(title)) if "enabled" in n["states"]]) >= least,
                 "all controls")
        window = reader.window(title)
        headings = [node["name"] for node in nodes(window) if node["role"] == "heading"]
        if headings != [title]:
            raise Failure(f"the headings are {headings}")
        expect_all_named_and_reached(scene, reader, window, least, "Right" if tool == "organize" else "Down")
        close_window(scene, title)
    tool_window.__name__ = f"{tool}_window"
    scenario(tool_window)


def list_items(reader, title):
    return [node["name"] for node in nodes(reader.window(title)) if node["role"] == "list item"]


@scenario
def moved_row_is_told(scene):
    reader = Reader(scene)
    open_tool(scene, reader, "MERGE PDF", "Merge PDFs", *documents(scene, "a.pdf", "b.pdf", "c.pdf"))
    focus(scene, reader, "Merge PDFs", "a.pdf, 1 of 3")
    reader.restart()
    press(scene, "Alt_L", "Down")
    reader.hears("accessible-name", lambda source: source["name"] == "a.pdf, 2 of 3", "the row's new place")
    if list_items(reader, "Merge PDFs") != ["b.pdf, 1 of 3", "a.pdf, 2 of 3", "c.pdf, 3 of 3"]:
        raise Failure(f"the rows are {list_items(reader, 'Merge PDFs')}")

    focus_next(scene, reader, "Merge PDFs", "Up")
    focus(scene, reader, "Merge PDFs", "Move b.pdf down")
    reader.restart()
    press(scene, "space")
    reader.hears("accessible-description", lambda source: (source["name"], source["description"])
                 == ("Move b.pdf down", "2 of 3"), "the new place on the button")
    if spoken(focus_next(scene, reader, "Merge PDFs", "space")) != "b.pdf, 3 of 3":
        raise Failure("at the end of the list the keyboard leaves the row")
    close_window(scene, "Merge PDFs")


@scenario
def moved_page_is_told(scene):
    reader = Reader(scene)
    open_tool(scene, reader, "ORGANIZE", "Organize PDF", *documents(scene, "a.pdf"))
    focus(scene, reader, "Organize PDF", "Page 1 of 3")
    reader.restart()
    press(scene, "Alt_L", "Right")
    reader.hears("accessible-name", lambda source: source["name"] == "Page 2 of 3", "the page's new place")
    reader.restart()
    press(scene, "r")
    reader.hears("accessible-name", lambda source: source["name"] == "Page 2 of 3, turned by 90 degrees", "the turn")
    if list_items(reader, "Organize PDF") != ["Page 1 of 3", "Page 2 of 3, turned by 90 degrees", "Page 3 of 3"]:
        raise Failure(f"the pages are {list_items(reader, 'Organize PDF')}")
    close_window(scene, "Organize PDF")


@scenario
def job_is_told(scene):
    reader = Reader(scene)
    for attempt in range(MOST_JOBS):
        photo = scene.folder / f"photo{attempt}.png"
        photo.write_bytes(pictures.png(6000, 4500))  # some work, so that its beginning can be read
        open_wheel(scene, reader, str(photo))
        focus(scene, reader, "Pelgra", "HEIC")
        reader.restart()
        press(scene, "Return")
        told = {f"Making photo{attempt}.heic…", f"photo{attempt}.heic — just like that."}
        wait_for(lambda: photo.with_suffix(".heic").exists(), "the picture")
        wait_for(lambda: not scenarios.panels(scene), "the panel to vanish")
        if told <= reader.notifications():
            return
        # A reader asks for the words after it has heard of them. One that comes to that when the panel has gone, or has
        # other words, is a matter of the machine's load.
        print(f"another job: the reader heard {reader.notifications()} of {told}", file=sys.stderr)
    raise Failure("the reader does not hear of jobs")


@scenario
def failure_is_told(scene):
    reader = Reader(scene)
    broken = scene.folder / "broken.png"
    broken.write_bytes(b"\x89PNG\r\n\x1a\nnothing more")
    open_wheel(scene, reader, str(broken))
    focus(scene, reader, "Pelgra", "JPG")
    reader.restart()
    press(scene, "Return")
    reader.hears("showing", lambda source: source["role"] == "notification"
                 and source["name"].startswith("Couldn't make broken.jpg. "), "the reason")


def main():
    found = subprocess.run([GTK_PYTHON, "-c", "import gi; gi.require_version('Atspi', '2.0')"], capture_output=True)
    if found.returncode:
        print("missing: the accessibility bus")
        return 77
    return scenarios.main(before=start_reader)


if __name__ == "__main__":
    sys.exit(main())
