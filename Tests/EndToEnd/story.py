#!/usr/bin/env python3
"""The whole story end to end, from a home in which nothing is: start, tray, settings, drags out of a real file manager
onto every petal of both wheels, the files they make as other programs read them, starting with the session, quitting.

Usage: story.py APPLICATION SOURCE-FOLDER
The application may be an installed one. Exit status 77 when the desktop's tools are missing.
"""
import configparser
import json
import pathlib
import shutil
import subprocess
import sys
import time

import pictures
import scenarios
from desktop import GTK_PYTHON, Desktop, Failure, wait_for
from tool_scenarios import Window, expect_pages, page_sizes
from tray import Tray, expect_labels

PICTURE = (240, 160)
PAGE = (200, 300)
TEXT = "Harbour report"
HINT = "Drag a file, then tap {} to convert or {} for tools"
# What GdkPixbuf reads: size, and the colour in the middle.
LOOK = """
import json, sys
import gi
gi.require_version("GdkPixbuf", "2.0")
from gi.repository import GdkPixbuf
picture = GdkPixbuf.Pixbuf.new_from_file(sys.argv[1])
width, height = picture.get_width(), picture.get_height()
at = height // 2 * picture.get_rowstride() + width // 2 * picture.get_n_channels()
print(json.dumps([width, height, list(picture.get_pixels()[at:at + 3])]))
"""


def expect(found, wanted, what):
    if found != wanted:
        raise Failure(f"{what}: {found} where {wanted} should be")


class Story:
    def __init__(self, desktop):
        self.desktop = desktop
        self.display = desktop.display
        self.home = pathlib.Path(desktop.environment["HOME"])
        self.keys = {"convert": "Shift_L", "tools": "Super_L"}
        self.count = 0

    # What happens

    def start(self):
        self.tray = Tray(self.desktop)
        self.app = self.desktop.start_application()
        self.item, _ = self.tray.wait_for_item()
        properties = self.item.properties()
        expect((properties["Title"], properties["Status"]), ("Pelgra", "Active"), "the tray item")
        if not properties["pictures"] and not properties["IconName"]:
            raise Failure("the tray item has no picture")
        expect_labels(self.item, [HINT.format("⇧", "⌘"), "-", "Settings…", "Check for Updates…", "-", "Quit Pelgra"])
        expect(self.item.line(HINT.format("⇧", "⌘")).get("enabled"), False, "the hint's line")

    def debugging_is_hidden(self):
        debug = "Debug: Show wheel for sample file…"
        self.display.key("Alt_L", True)
        try:
            wait_for(lambda: debug in self.item.labels(), "the debug line while Alt is held")
        finally:
            self.display.key("Alt_L", False)
        wait_for(lambda: debug not in self.item.labels(), "the debug line to hide")

    def updates_are_explained(self):
        self.item.choose("Check for Updates…")
        alert = wait_for(lambda: self.display.named("Pelgra"), "the alert")
        wait_for(lambda: self.display.focus() == alert, "the focus of the alert")
        self.press("Return", gone="Pelgra")

    def open_settings(self):
        self.item.choose("Settings…")
        window = wait_for(lambda: self.display.named("Pelgra Settings"), "the settings")
        wait_for(lambda: self.display.focus() == window, "the focus of the settings")
        return window

    def settings_act_at_once(self):
        """By the keyboard alone: Control converts, Shift is for tools, the lowest quality, start with the session."""
        self.open_settings()
        self.press("Down", "Down", "Down")
        self.wait_for_setting("convertKey", "control")
        self.press("Tab", "Up")
        self.wait_for_setting("toolsKey", "shift")
        self.press("Tab", "space")
        self.wait_for_setting("dragTargets", "true")
        self.press("space")
        self.wait_for_setting("dragTargets", "false")
        self.press("Tab", "Home")
        self.wait_for_setting("jpegQuality", "0.5")
        entry = self.home / ".config/autostart/org.pelgra.Pelgra.desktop"
        expect(entry.exists(), False, "an autostart entry before anyone asked")
        self.press("Tab", "space")
        wait_for(entry.exists, "the autostart entry")
        subprocess.run(["desktop-file-validate", entry], check=True)
        self.press("Tab", "space")
        self.wait_for_setting("checkForUpdatesAutomatically", "false")
        self.press("space")
        self.wait_for_setting("checkForUpdatesAutomatically", "true")
        expect_labels(self.item, [HINT.format("⌃", "⇧"), "-", "Settings…", "Check for Updates…", "-", "Quit Pelgra"])
        self.keys = {"convert": "Control_L", "tools": "Shift_L"}

    def autostart_ends(self):
        entry = self.home / ".config/autostart/org.pelgra.Pelgra.desktop"
        self.open_settings()  # the window of before, where the keyboard stands on the last line
        self.display.key("Shift_L", True)
        self.press("Tab")
        self.display.key("Shift_L", False)
        self.press("space")
        wait_for(lambda: not entry.exists(), "the autostart entry to vanish")

    def quit(self):
        self.item.choose("Quit Pelgra")
        self.tray.wait_for_end(self.item)
        expect(self.app.status(), 0, "the exit status")
        left = [str(path.relative_to(self.home)) for path in self.home.rglob("*pelgra*") if path.is_file()]
        expect(left, [".config/pelgra/pelgra.ini"], "what stays in the home")

    # Petals: each in a folder of its own, dragged out of a window of the file manager

    def drop(self, kind, petal, count, *files):
        """Drags all files of a folder onto a petal."""
        self.count += 1
        scene = scenarios.Scene(self.desktop, f"story {self.count}")
        for name, content in files:
            (scene.folder / name).write_bytes(content)
        scenarios.open_folder(scene, "thunar")
        scenarios.drag_files(scene, len(files), (1180, 650))
        scene.open_wheel(self.keys[kind], kind)
        scene.point_at(petal, count)
        scene.release()
        scene.expect_end()
        return scene

    def output(self, scene, name):
        path = scene.folder / name
        wait_for(path.exists, name)
        scene.close()
        return path

    def image(self, petal, name, **options):
        scene = self.drop("convert", petal, 5, options.get("source", ("photo.png", pictures.png(*PICTURE))))
        return self.output(scene, name)

    def conversions_of_pictures(self):
        jpeg = self.image(0, "photo.jpg")
        expect_picture(jpeg, PICTURE, b"\xff\xd8\xff")
        expect(first_quantizer(jpeg), 16, "the first quantizer of a JPEG of quality 50 %")
        heic = self.image(1, "photo.heic")
        subprocess.run(["heif-convert", heic, heic.with_name("seen.png")], check=True, capture_output=True)
        expect(heic.read_bytes()[4:8], b"ftyp", "the beginning of a HEIC")
        expect_picture(heic.with_name("seen.png"), PICTURE, b"\x89PNG")
        expect_picture(self.image(2, "photo.tiff"), PICTURE, b"II*\0")
        expect_picture(self.image(3, "photo.bmp"), PICTURE, b"BM")
        expect(page_sizes(self.image(4, "photo.pdf")), [PICTURE], "the page of a picture without a resolution")
        png = self.image(0, "photo.png", source=("photo.jpg", jpeg.read_bytes()))
        expect_picture(png, PICTURE, b"\x89PNG")

    def conversions_of_documents(self):
        def convert(petal, name):
            source = ("report.pdf", pictures.document(PAGE, text=TEXT))
            return self.output(self.drop("convert", petal, 4, source), name)
        pixels = tuple(round(side / 72 * 300) for side in PAGE)
        expect_picture(convert(0, "report.jpg"), pixels, b"\xff\xd8\xff", colour=(255, 255, 255))
        expect_picture(convert(1, "report.png"), pixels, b"\x89PNG", colour=(255, 255, 255))
        for petal, name in ((2, "report.txt"), (3, "report.md")):
            text = convert(petal, name).read_text(encoding="utf8")
            if TEXT not in text:
                raise Failure(f"{name} says {text!r}")

    def tools(self):
        two = [("a.pdf", pictures.document(PAGE)), ("b.pdf", pictures.document((210, 310)))]
        report = ("report.pdf", pictures.document(PAGE, (210, 310)))
        scene = self.drop("tools", 0, 1, *((name, pictures.png(*PICTURE)) for name in ("a.png", "b.png")))
        Window(scene, "Create a PDF").run()
        expect_pages(self.output(scene, "a.pdf"), PICTURE, PICTURE)
        scene = self.drop("tools", 0, 2, report)
        written = self.output(scene, "report Pages")
        expect([page_sizes(path) for path in sorted(written.iterdir())], [[PAGE], [(210, 310)]], "the split pages")
        scene = self.drop("tools", 1, 2, *two)
        Window(scene, "Merge PDFs").run()
        expect_pages(self.output(scene, "a Merged.pdf"), PAGE, (210, 310))
        scene = self.drop("tools", 1, 2, report)
        window = Window(scene, "Organize PDF")
        window.drag_first_page()
        window.run()
        expect_pages(self.output(scene, "report Organized.pdf"), (210, 310), PAGE)

    # Helpers

    def press(self, *keys, gone=None):
        for key in keys:
            self.display.key(key, True)
            self.display.key(key, False)
        if gone:
            wait_for(lambda: not self.display.named(gone), f"“{gone}” to close")

    def wait_for_setting(self, key, value):
        file = self.home / ".config/pelgra/pelgra.ini"

        def stored():
            settings = configparser.ConfigParser()
            settings.optionxform = str
            settings.read(file)
            return settings.get("General", key, fallback=None)
        try:
            wait_for(lambda: stored() == value, f"{key} {value}")
        except Failure:
            raise Failure(f"{key} is {stored()} where {value} should be") from None


def expect_picture(path, size, magic, colour=(243, 91, 40)):
    expect(path.read_bytes()[:len(magic)], magic, f"the beginning of {path.name}")
    seen = subprocess.run([GTK_PYTHON, "-c", LOOK, path], check=True, capture_output=True, text=True).stdout
    width, height, found = json.loads(seen)
    expect((width, height), size, f"the size of {path.name}")
    if max(abs(a - b) for a, b in zip(found, colour)) > 6:
        raise Failure(f"{path.name} is {found} in the middle where {colour} should be")


def first_quantizer(path):
    """The first number of a JPEG's first table, which tells its quality."""
    data = path.read_bytes()
    return data[data.index(b"\xff\xdb") + 5]


CHAPTERS = (Story.start, Story.debugging_is_hidden, Story.updates_are_explained, Story.settings_act_at_once,
            Story.conversions_of_pictures, Story.conversions_of_documents, Story.tools, Story.autostart_ends, Story.quit)


def main():
    tools = ("Xvfb", "openbox", "dbus-daemon", GTK_PYTHON, "thunar", "heif-convert", "qpdf", "pdfinfo",
             "desktop-file-validate")
    missing = [tool for tool in tools if not shutil.which(tool)]
    if missing:
        print(f"missing: {missing}")
        return 77
    with Desktop(*sys.argv[1:3]) as desktop:
        story = Story(desktop)
        for chapter in CHAPTERS:
            begin = time.monotonic()
            try:
                chapter(story)
            except (Failure, subprocess.CalledProcessError):
                print(f"        {chapter.__name__}: FAILED", flush=True)
                desktop.print_logs()
                raise
            print(f"{time.monotonic() - begin:6.2f} s  {chapter.__name__}", flush=True)
    return 0


if __name__ == "__main__":
    sys.exit(main())
