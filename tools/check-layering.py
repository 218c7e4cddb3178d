#!/usr/bin/env python3
"""Fails when a file includes what its layer or room must not see. Usage: check-layering.py [SOURCE-FOLDER]

The rooms below are the architecture, written down once: a room knows itself and the rooms it names, nothing else.
The rooms that it names must stand above it, so no circle can arise."""
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
# What reads files that anybody may have written.
PARSERS = re.compile(r"^Q(ImageReader|ColorSpace|Movie|Pdf\w+|MediaPlayer|Svg\w+|RawFont)$")
OWN_DRAWINGS = "Controls/Symbols.cpp"  # reads the program's resources alone
CODEC_ROOMS = {"codecs", "modules", "programs"}

# The core from the ground up: each room may know all rooms above it. `include/` is known to all.
CORE_ROOMS = ["values", "unicode", "parallel", "files", "pixels", "metadata", "codecs", "modules", "isolation",
              "images", "pages", "text", "imagepdf", "engine", "programs"]

# The application: a room and the rooms it may know.
SOURCE_ROOMS = {
    "Support": [],
    "Platform": ["Support"],
    "Desktop": ["Support", "Platform"],
    "Pictures": ["Support", "Desktop"],
    "Controls": ["Support", "Platform", "Desktop"],
    "Settings": ["Support", "Platform", "Desktop", "Controls"],
    "Wheel": ["Support", "Platform", "Desktop", "Pictures", "Controls", "Settings"],
    "Drag": ["Support", "Platform", "Settings", "Wheel"],
    "Jobs": ["Support", "Platform", "Desktop", "Controls", "Settings", "Wheel"],
    "ToolWindows": ["Support", "Platform", "Desktop", "Pictures", "Controls", "Jobs"],
    "App": ["Support", "Platform", "Desktop", "Pictures", "Controls", "Settings", "Wheel", "Drag", "Jobs", "ToolWindows"],
    "CommandLine": [],
}


def logic_files(root):
    """The files of PelgraLogic, as Desktop.cmake lists them."""
    text = (root / "Sources/Desktop.cmake").read_text(encoding="utf8")
    names = re.search(r"set\(logic ([^)]*)\)", text).group(1).split()
    return {name.removesuffix(".cpp") for name in names}


def core_problem(relative, name):
    """What is wrong with a file of src/ including a header of src/, or None."""
    room, other = relative.parts[0], name.split("/")[0]
    if other not in CORE_ROOMS:
        return "a header of src/ is included by its room: room/Header.h"
    if CORE_ROOMS.index(other) > CORE_ROOMS.index(room):
        return f"{room}/ stands below {other}/ and must not know it"
    if other == "modules" and name.count("/") == 2:
        module = name.split("/")[1]
        inside = relative.parts[:2] == ("modules", module)
        if not inside and room == "modules":
            return "a module knows no other module"
        interface = re.fullmatch(r"\w+Module\.h|TextPiece\.h", name.split("/")[2])
        if not inside and not interface:
            return "of a module only the header with its table is known outside"
    return None


def core_problems(core):
    for file in sorted(core.rglob("*.h")) + sorted(core.rglob("*.cpp")):
        relative = file.relative_to(core)
        if relative.parts[0] in ("Tests", "Fuzz"):
            continue
        public = relative.parts[0] == "include"
        if not public and relative.parts[1] not in CORE_ROOMS:
            yield file, "", "a file of the core stands in one of the rooms that tools/check-layering.py lists"
            continue
        for kind, name in INCLUDE.findall(file.read_text(encoding="utf8")):
            if QT.match(name):
                yield file, name, "the core knows no toolkit; move the code to Sources/"
            if public and kind == "<" and not STANDARD.match(name):
                yield file, name, "public headers show the standard library only; hide the type behind the .cpp file"
            if public and kind == '"' and not name.startswith("PelgraCore/"):
                yield file, name, "a public header must not need a private one"
            if CODECS.match(name) and (public or relative.parts[1] not in CODEC_ROOMS):
                yield file, name, "a codec is met in src/codecs/, src/modules/ and src/programs/ only"
            if not public and kind == '"' and not name.startswith("PelgraCore/") and not (file.parent / name).exists():
                problem = core_problem(relative.relative_to("src"), name)
                if problem:
                    yield file, name, problem


def source_problems(sources, logic):
    for file in sorted(sources.rglob("*.h")) + sorted(sources.rglob("*.cpp")):
        relative = file.relative_to(sources)
        room = relative.parts[0]
        if room not in SOURCE_ROOMS:
            yield file, "", "a file of the application stands in one of the rooms that tools/check-layering.py lists"
            continue
        for kind, name in INCLUDE.findall(file.read_text(encoding="utf8")):
            if CODECS.match(name):
                yield file, name, "codecs belong to the core; call the Engine"
            if PARSERS.match(name) and str(relative) != OWN_DRAWINGS:
                yield file, name, "the desktop program reads no file itself; a worker does, through the Engine or Thumbnails"
            if room == "CommandLine" and QT.match(name):
                yield file, name, "the command line loads no user-interface library"
            if str(relative.with_suffix("")) in logic and WINDOWS.match(name):
                yield file, name, "logic takes samples and gives answers; the window or timer that feeds it lives elsewhere"
            other = name.split("/")[0]
            if kind == '"' and other in SOURCE_ROOMS and other != room and other not in SOURCE_ROOMS[room]:
                yield file, name, f"{room}/ must not know {other}/"


def rule_problems():
    """A room names only rooms that stand above it."""
    seen = []
    for room, known in SOURCE_ROOMS.items():
        for other in known:
            if other not in seen:
                yield pathlib.Path(__file__), other, f"{room} names a room that does not stand above it"
        seen.append(room)


def main():
    root = pathlib.Path(sys.argv[1] if len(sys.argv) > 1 else ".").resolve()
    found = list(rule_problems())
    found += core_problems(root / "Packages/PelgraCore")
    found += source_problems(root / "Sources", logic_files(root))
    for file, name, why in found:
        print(f"{file.relative_to(root) if root in file.parents else file}: includes {name}: {why}")
    sys.exit(1 if found else 0)


if __name__ == "__main__":
    main()
