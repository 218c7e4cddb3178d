"""How long the main thread of the desktop program stays away from its event loop while jobs run and windows open, as
pelgra-desktop-watched tells it (EventLoopWatch.cpp)."""
import os
import pathlib
import re
import signal
import subprocess
import sys
import time

ROOT = pathlib.Path(__file__).resolve().parent.parent
sys.path.insert(0, str(ROOT / "Tests/EndToEnd"))

import pictures  # noqa: E402
import scenarios  # noqa: E402
from desktop import Failure, wait_for  # noqa: E402
from tool_scenarios import TOOL_PETALS, Window  # noqa: E402
from tray import Tray  # noqa: E402

CONVERT_PETALS = {"jpg": (0, 5), "heic": (1, 5), "page jpg": (0, 4), "page png": (1, 4), "txt": (2, 4)}
TITLES = {"create": "Create a PDF", "merge": "Merge PDFs", "organize": "Organize PDF"}
PHOTO = (4000, 3000)
PAGE = (595, 842)
SCROLL_DOWN = 5  # the mouse wheel as a button


class Spell:
    """One stay away from the loop, in milliseconds: by the clock, of the processor, waiting for a processor."""

    def __init__(self, line):
        clock, processor, waiting, *self.work = line.split()
        self.clock, self.processor, self.waiting = float(clock), float(processor), float(waiting)

    @property
    def own(self):
        """What no other program took: work, and waiting for files and answers."""
        return self.clock - self.waiting


class Stalls:
    def __init__(self, desktop):
        self.desktop = desktop
        self.display = desktop.display
        self.log = desktop.folder / "event-loop"
        server = next(process for process in desktop.processes if process.name == "server")
        desktop.application_environment |= {"PELGRA_EVENT_LOOP_LOG": str(self.log), "PELGRA_EVENT_LOOP_SERVER": str(server.pid)}
        self.tray = Tray(desktop)
        self.app = desktop.start_application()
        self.item, _ = self.tray.wait_for_item()
        self.count = 0
        self.longest = []
        self.make_files()

    def make_files(self):
        folder = self.desktop.folder / "inputs"
        folder.mkdir()
        width, height = PHOTO
        slope = bytes((7 * i + (i >> 5) * 11) % 251 for i in range(3 * (width + height)))
        rows = b"".join(b"\0" + slope[3 * y:3 * (y + width)] for y in range(height))
        self.photo = folder / "photo.png"
        self.photo.write_bytes(pictures.png_of(width, height, rows))
        small = folder / "small.png"
        small.write_bytes(pictures.png(1200, 800))
        self.small = small
        self.page = folder / "page.pdf"
        self.page.write_bytes(pictures.document(PAGE, text="The quick brown fox jumps over"))
        self.pages = {}
        for number in (60, 500, 2000):
            self.pages[number] = folder / f"{number}.pdf"
            self.pages[number].write_bytes(pictures.document(*[PAGE] * number, text="The quick brown fox jumps over"))
        command = self.desktop.application.parent / "pelgra"
        subprocess.run([command, "convert", "--to", "png", self.page], check=True, capture_output=True)
        scans = [folder / f"scan {number}.png" for number in range(6)]
        for scan in scans:
            os.link(folder / "page.png", scan)
        subprocess.run([command, "create", *scans], check=True, capture_output=True)
        self.scans = folder / "scan 0.pdf"

    # Steps

    def copies(self, file, number):
        folder = self.desktop.folder / "work" / f"stalls {self.count}"
        names = [folder / f"{file.stem} {index}{file.suffix}" for index in range(number)]
        for name in names:
            os.link(file, name)
        return names

    def drop(self, kind, petal, file, number):
        """A drag of that many copies of a file onto a petal."""
        self.count += 1
        self.scene = scenarios.Scene(self.desktop, f"stalls {self.count}")
        files = self.copies(file, number)
        self.scene.begin_drag("gtk3", b"".join(scenarios.address(str(name)) for name in files))
        self.scene.open_wheel("Super_L" if kind == "tools" else "Shift_L", kind)
        self.scene.point_at(*petal)
        self.scene.release()

    def begin(self):
        self.mark = self.log.stat().st_size

    def report(self):
        with open(self.log, encoding="utf8") as file:
            file.seek(self.mark)
            spells = [Spell(line) for line in file if line.endswith("\n")]
        self.longest.append(max(spell.own for spell in spells))
        spells.sort(key=lambda spell: spell.own)
        worst = spells[-1]
        print(f"{self.name:44} {len(spells):6} spells, median {spells[len(spells) // 2].own:.2f}, 99th percentile "
              f"{spells[int(len(spells) * 0.99)].own:.1f}, longest {worst.own:.1f} ms ({worst.clock:.1f} by the clock, "
              f"{worst.processor:.1f} of the processor): {' '.join(worst.work)}", flush=True)

    def finish_scene(self):
        wait_for(lambda: not scenarios.panels(self.scene), "the panel to vanish", 20)
        self.scene.close()

    # What is measured

    def conversion(self, petal, file, number):
        self.begin()
        self.drop("convert", CONVERT_PETALS[petal], file, number)
        self.scene.app.wait_for("Job finished", self.scene.since, 300)
        self.finish_scene()
        self.report()

    def split(self):
        self.begin()
        self.drop("tools", TOOL_PETALS["split"], self.pages[500], 1)
        self.scene.app.wait_for("Job finished", self.scene.since, 60)
        self.finish_scene()
        self.report()

    def tool(self, tool, file, number, steps=lambda window: None):
        self.begin()
        self.drop("tools", TOOL_PETALS[tool] if tool != "merge" or number > 1 else (0, 2), file, number)
        window = Window(self.scene, TITLES[tool])
        self.settle()
        steps(window)
        window.run()
        self.finish_scene()
        self.report()

    def settle(self):
        """Until thumbnails have come: the processor has little to do."""
        def rests():
            before = self.app.processor_nanoseconds()
            time.sleep(0.2)
            return self.app.processor_nanoseconds() - before < 4e6
        wait_for(rests, "rest", 60)

    def question(self):
        found = self.display.visible(lambda window, attributes: self.display.name(window) == "Pelgra" and attributes.width > 1)
        return found[0] if found else None

    def reorder(self, window):
        window.drag((250, 180), (250, 540))

    def edit(self, window):
        window.move(window.width // 2, window.height // 2)
        for _ in range(60):
            self.display.button(True, SCROLL_DOWN)
            self.display.button(False, SCROLL_DOWN)
            time.sleep(0.02)
        self.settle()
        window.drag((window.width // 6, 300), (window.width * 5 // 6, 600))
        for key in ("Tab", "Tab", "Tab", "r", "r", "Delete"):
            self.scene.tap(key)
            time.sleep(0.05)

    def closed_while_loading(self):
        self.begin()
        self.drop("tools", TOOL_PETALS["organize"], self.pages[2000], 1)
        wait_for(lambda: self.display.named("Organize PDF"), "the window")
        wait_for(lambda: self.display.focus() == self.display.named("Organize PDF"), "its focus")
        self.scene.tap("Escape")
        wait_for(lambda: not self.display.named("Organize PDF"), "the window to close")
        self.scene.close()
        self.report()

    def quit_with_jobs(self):
        self.begin()
        self.drop("convert", CONVERT_PETALS["heic"], self.photo, 8)
        self.scene.app.wait_for("Job started", self.scene.since)
        self.item.choose("Quit Pelgra")
        wait_for(lambda: self.question() and self.display.focus() == self.question(), "the question")
        self.scene.tap("Escape")
        wait_for(lambda: not self.question(), "the question to close")
        self.app.child.send_signal(signal.SIGTERM)
        if self.app.child.wait(20):
            raise Failure(f"the exit status was {self.app.child.returncode}")
        self.report()


STEPS = {
    "JPEG of 200 pictures": lambda s: s.conversion("jpg", s.small, 200),
    "JPEG of 20 photos": lambda s: s.conversion("jpg", s.photo, 20),
    "HEIC of 4 photos": lambda s: s.conversion("heic", s.photo, 4),
    "PNG of 60 pages": lambda s: s.conversion("page png", s.pages[60], 1),
    "text of 6 scanned pages": lambda s: s.conversion("txt", s.scans, 1),
    "Split of 500 pages": Stalls.split,
    "Create of 100 photos": lambda s: s.tool("create", s.photo, 100, s.reorder),
    "Merge of 300 documents": lambda s: s.tool("merge", s.page, 300, s.reorder),
    "Organize of 2,000 pages": lambda s: s.tool("organize", s.pages[2000], 1, s.edit),
    "Organize closed while it loads": Stalls.closed_while_loading,
    "asked to quit, and ended, with jobs running": Stalls.quit_with_jobs,
}


def measure(desktop, only=""):
    """The longest of all stays away, in milliseconds, without what other programs took."""
    stalls = Stalls(desktop)
    for name, step in STEPS.items():
        if re.search(only, name):
            stalls.name = name
            step(stalls)
    return max(stalls.longest)
