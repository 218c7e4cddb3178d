#!/usr/bin/env python3
"""Fails when a file includes what its layer must not see. Usage: check-layering.py [SOURCE-FOLDER]"""
import pathlib
import re
import sys

INCLUDE = re.compile(r'^\s*#\s*include\s*([<"])([^">]+)[">]', re.M)
QT = re.compile(r"^Q[A-Z]\w*$|^Qt\w+/|^private/q")
# Types that need a running application, and so have no place in the logic layer.
WINDOWS = re.compile(r"^Q(Widget|Screen|Painter(?!Path)|Application|GuiApplication|Window|Timer|Dialog|Menu|SystemTray|Object|Thread)\w*$")
STANDARD = re.compile(r"^[a-z_]+$")
CODECS = re.compile(r"^(jpeglib|jerror|png|zlib|libdeflate|isa-l|webp/|gif_lib|lcms2|libheif/|tiff|librsvg/|cairo|exiv2/|qpdf/|mupdf/|"
                    r"tesseract/|leptonica/|omp)")
LOGIC = {"Drag/DragSessionMachine", "Wheel/WheelPetal", "Wheel/WheelLayout", "ToolWindows/Reordering/Reordering",
         "Settings/ModifierKey", "Support/Formatters"}


def problems(root):
    core = root / "Packages/PelgraCore"
    for file in sorted(core.rglob("*.h")) + sorted(core.rglob("*.cpp")):
        relative = file.relative_to(core)
        if relative.parts[0] == "Tests":
            continue
        public = relative.parts[0] == "include"
        backend = relative.parts[:2] in (("src", "backends"), ("src", "modules"))
        for kind, name in INCLUDE.findall(file.read_text(encoding="utf8")):
            if QT.match(name):
                yield file, name, "the core knows no toolkit; move the code to Sources/"
            if public and kind == "<" and not STANDARD.match(name):
                yield file, name, "public headers show the standard library only; hide the type behind the .cpp file"
            if public and kind == '"' and not name.startswith("PelgraCore/"):
                yield file, name, "a public header must not need a private one"
            if CODECS.match(name) and not backend:
                yield file, name, "a codec is met in src/backends/ or src/modules/ only"
    sources = root / "Sources"
    for file in sorted(sources.rglob("*.h")) + sorted(sources.rglob("*.cpp")):
        relative = file.relative_to(sources)
        for _, name in INCLUDE.findall(file.read_text(encoding="utf8")):
            if CODECS.match(name):
                yield file, name, "codecs belong to the core; call the Engine"
            if relative.parts[0] == "CommandLine" and QT.match(name):
                yield file, name, "the command line loads no user-interface library"
            if str(relative.with_suffix("")) in LOGIC and WINDOWS.match(name):
                yield file, name, "logic takes samples and gives answers; the window or timer that feeds it lives elsewhere"


def main():
    root = pathlib.Path(sys.argv[1] if len(sys.argv) > 1 else ".")
    found = list(problems(root))
    for file, name, why in found:
        print(f"{file.relative_to(root)}: includes {name}: {why}")
    sys.exit(1 if found else 0)


if __name__ == "__main__":
    main()
