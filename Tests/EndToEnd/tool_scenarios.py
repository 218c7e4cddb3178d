#!/usr/bin/env python3
"""End-to-end scenarios of jobs and tool windows: from a real drag over the wheel, real clicks and drags in the window,
to documents on disk that other programs read.

Usage: tool_scenarios.py APPLICATION SOURCE-FOLDER [--only REGEX]
"""
import re
import shutil
import subprocess
import sys
import time

import pictures
import scenarios
from desktop import Failure, wait_for
from scenarios import address, panels, scenario

scenarios.SCENARIOS.clear()
scenarios.MAGIC[b".pdf"] = b"%PDF"
ROW_STEP = 92  # from one row of an ordered list to the next
FOOTER = 40  # from the bottom edge to the middle of the action button
TOOL_PETALS = {"create": (0, 1), "split": (0, 2), "merge": (1, 2), "organize": (1, 2)}


def document(scene, name, *sizes):
    path = scene.folder / name
    path.write_bytes(pictures.document(*sizes))
    return str(path)


def picture(scene, name, width, height):
    path = scene.folder / name
    path.write_bytes(pictures.png(width, height))
    return str(path)


def page_sizes(path):
    """The size of every page in points as an independent reader tells it, and no complaint of a checker."""
    checked = subprocess.run(["qpdf", "--check", path], capture_output=True, text=True)
    if checked.returncode:
        raise Failure(f"{path.name}: {checked.stdout}{checked.stderr}")
    told = subprocess.run(["pdfinfo", "-f", "1", "-l", "99", path], capture_output=True, text=True, check=True).stdout
    return [tuple(round(float(part)) for part in size)
            for size in re.findall(r"^Page +\d+ size: +([\d.]+) x ([\d.]+)", told, re.MULTILINE)]


def expect_pages(path, *sizes):
    wait_for(path.exists, path.name)
    if page_sizes(path) != list(sizes):
        raise Failure(f"{path.name} has pages of {page_sizes(path)} where {list(sizes)} should be")


def drop_on_tool(scene, tool, paths):
    scene.begin_drag("gtk3", b"".join(address(path) for path in paths))
    scene.open_wheel("Super_L", "tools")
    scene.point_at(*TOOL_PETALS[tool])
    scene.release()
    scene.expect_end()


class Window:
    """A tool's window and the mouse in it."""

    def __init__(self, scene, title):
        self.scene = scene
        self.display = scene.display
        self.window = wait_for(lambda: self.display.named(title), f"the window “{title}”")
        if self.display.name(self.window) != title:
            raise Failure(f"the window is called “{self.display.name(self.window)}”")
        wait_for(self.is_painted, "the window's painting")
        # A source lets go of keyboard and mouse only when it learns what came of its drop.
        wait_for(self.display.is_input_free, "keyboard and mouse")
        self.x, self.y = self.display.position(self.window)
        attributes = self.display.attributes(self.window)
        self.width, self.height = attributes.width, attributes.height

    def is_painted(self):
        colours = self.display.pixels(self.window, [(320, y) for y in range(20, 60)])
        return len(set(colours)) > 1  # the title stands there

    def move(self, x, y):
        self.display.move(self.x + x, self.y + y)
        time.sleep(0.01)

    def click(self, x, y):
        self.move(x, y)
        self.display.button(True)
        self.display.button(False)

    def drag(self, start, end):
        self.move(*start)
        self.display.button(True)
        for step in range(1, 11):
            self.move(start[0] + (end[0] - start[0]) * step // 10, start[1] + (end[1] - start[1]) * step // 10)
        self.display.button(False)

    def drag_first_page(self):
        """Behind the last one of its row, once there is something to be seized."""
        card, middle = self.width // 6, 300
        wait_for(lambda: self.display.pixels(self.window, [(card, middle)]) == [0xFFFFFF], "the first page")
        self.drag((card, middle), (5 * card, middle))

    def run(self):
        self.click(self.width - 24 - 40, self.height - FOOTER)
        wait_for(lambda: not self.display.is_viewable(self.window), "the window to close")
        self.scene.expect_panel()


@scenario
def conversion_shows_its_panel(scene):
    scenarios.drop_on_first_petal(scene, "gtk3", [scene.picture()])
    scene.expect_panel()
    scene.app.wait_for("Job started: photo.jpg", scene.since)
    line = scene.app.wait_for("Job finished in", scene.since)
    if not re.search(r"Job finished in \d+\.\d\ds: photo\.jpg$", line):
        raise Failure(line)
    scene.expect_files("photo.png", "photo.jpg")
    wait_for(lambda: not panels(scene), "the panel to vanish")


@scenario
def failed_conversion_tells_why(scene):
    broken = scene.folder / "broken.png"
    broken.write_bytes(b"\x89PNG\r\n\x1a\nnothing more")
    scenarios.drop_on_first_petal(scene, "gtk3", [str(broken)])
    scene.app.wait_for("Job failed: broken.jpg: ", scene.since)
    scene.expect_panel()
    scene.expect_files("broken.png")
    wait_for(lambda: not panels(scene), "the panel to vanish")


@scenario
def split_writes_a_folder(scene):
    drop_on_tool(scene, "split", [document(scene, "report.pdf", (200, 300), (400, 100))])
    scene.app.wait_for("Job finished", scene.since)
    written = sorted((scene.folder / "report Pages").iterdir())
    if [page_sizes(path) for path in written] != [[(200, 300)], [(400, 100)]]:
        raise Failure(f"split into {written}")


@scenario
def merge_writes_the_order_of_the_rows(scene):
    paths = [document(scene, name, size) for name, size in
             (("a.pdf", (100, 200)), ("b.pdf", (300, 400)), ("c.pdf", (500, 600)))]
    drop_on_tool(scene, "merge", paths)
    window = Window(scene, "Merge PDFs")
    first = 180  # the middle of the first row
    window.drag((250, first), (250, first + 2 * ROW_STEP))
    window.run()
    expect_pages(scene.folder / "b Merged.pdf", (300, 400), (500, 600), (100, 200))


@scenario
def create_writes_the_order_of_the_rows(scene):
    paths = [picture(scene, name, *size) for name, size in
             (("a.png", (72, 36)), ("b.png", (144, 36)), ("c.png", (36, 144)))]
    before = set(scene.folder.iterdir())
    drop_on_tool(scene, "create", paths)
    window = Window(scene, "Create a PDF")
    last = 200 + 2 * ROW_STEP
    window.drag((250, last), (250, last - 2 * ROW_STEP))
    window.run()
    written = wait_for(lambda: set(scene.folder.iterdir()) - before, "the document")
    expect_pages(written.pop(), (36, 144), (72, 36), (144, 36))


@scenario
def organize_writes_the_order_of_the_pages(scene):
    path = document(scene, "report.pdf", (200, 300), (210, 310), (220, 320))
    drop_on_tool(scene, "organize", [path])
    window = Window(scene, "Organize PDF")
    window.drag_first_page()
    window.run()
    expect_pages(scene.folder / "report Organized.pdf", (210, 310), (220, 320), (200, 300))


@scenario
def escape_closes_a_window_without_a_result(scene):
    drop_on_tool(scene, "merge", [document(scene, "a.pdf", (100, 200)), document(scene, "b.pdf", (100, 200))])
    window = Window(scene, "Merge PDFs")
    window.click(320, 560)
    wait_for(lambda: scene.display.focus() == window.window, "the focus in the window")
    scene.tap("Escape")
    scene.app.wait_for("mergePDF window closed without a result", scene.since)
    scene.expect_files("a.pdf", "b.pdf")


def main():
    missing = [tool for tool in ("qpdf", "pdfinfo") if not shutil.which(tool)]
    if missing:
        print(f"missing: {missing}")
        return 77
    return scenarios.main()


if __name__ == "__main__":
    sys.exit(main())
