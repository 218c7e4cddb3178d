"""Menu entries of Pelgra for the file managers that are extended in Python: Nautilus and Caja."""
import os
import subprocess

from gi.repository import GObject

# Both may be installed; each loads the copy in a folder of its own.
if "caja-python" in __file__:
    from gi.repository import Caja as FileManager
else:
    from gi.repository import Nautilus as FileManager

EXTENSIONS = {".jpg", ".jpeg", ".jpe", ".jfif", ".png", ".webp", ".heic", ".heif", ".tif", ".tiff", ".avif", ".bmp",
              ".svg", ".gif", ".pdf"}
ENTRIES = (("convert", "Convert with Pelgra"), ("tools", "PDF tools with Pelgra"))


class PelgraMenu(GObject.GObject, FileManager.MenuProvider):
    def get_file_items(self, *arguments):
        # Older file managers pass a window first.
        files = [file.get_location().get_path() for file in arguments[-1]]
        if not files or not all(path and os.path.splitext(path)[1].lower() in EXTENSIONS for path in files):
            return []
        items = []
        for kind, label in ENTRIES:
            item = FileManager.MenuItem(name="Pelgra::" + kind, label=label, icon="org.pelgra.Pelgra")
            item.connect("activate", self.open_wheel, kind, files)
            items.append(item)
        return items

    def open_wheel(self, item, kind, files):
        subprocess.Popen(["pelgra-desktop", "wheel", "--kind", kind, "--", *files])
