#!/usr/bin/env python3
"""Fails when MuPDF is not as its overrides need it: of a version that nobody has looked at, or without the calls that
they come before. What the calls must do is tested by what comes out of them (PDFColorsTest and its neighbours).

Usage: check-overrides.py OVERRIDES-FOLDER INCLUDE-FOLDER MUPDF-LIBRARY RENDERING-MODULE"""
import pathlib
import re
import subprocess
import sys

DECLARED = re.compile(r"^PELGRA_DECLARE_OVERRIDE\((\w+),", re.M)
MADE_FOR = re.compile(r"Made for MuPDF (.*?)\.\s")


def listed(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True, errors="replace").stdout


def version_at_hand(include):
    text = (include / "mupdf/fitz/version.h").read_text(encoding="utf8")
    return ".".join(re.search(rf"FZ_VERSION_{part} (\d+)", text).group(1) for part in ("MAJOR", "MINOR"))


def calls_of(library):
    """The names of functions that calls of the library look for outside the file, or object file, they stand in."""
    if library.suffix == ".a":
        return set(re.findall(r"^\s+U (\w+)$", listed("nm", str(library)), re.M))
    return set(re.findall(r"R_\w+_(?:JUMP_SL|GLOB_DA)\w*\s+\S+\s+(\w+)", listed("readelf", "-rW", str(library))))


def names_in(library, module):
    """The names of functions in the module that stand before others."""
    if library.suffix == ".a":
        symbols = listed("nm", str(module))
        unlinked = set(re.findall(r" U __real_(\w+)$", symbols, re.M))
        return set(re.findall(r" [tT] __wrap_(\w+)$", symbols, re.M)) - unlinked
    return set(re.findall(r" T (\w+)$", listed("nm", "--dynamic", "--defined-only", str(module)), re.M))


def problems(overrides, include, library, module):
    version = version_at_hand(include)
    calls, ours = calls_of(library), names_in(library, module)
    declared = set()
    for file in sorted(overrides.glob("*.cpp")):
        text = file.read_text(encoding="utf8")
        made_for = MADE_FOR.search(re.sub(r"\s*\n///\s*", " ", text))
        if not made_for or version not in re.findall(r"\d+\.\d+", made_for.group(1)):
            yield f"{file.name}: nobody has looked at MuPDF {version}; see what it does there, and say so in the file"
        for name in DECLARED.findall(text):
            declared.add(name)
            if name not in calls:
                yield f"{file.name}: MuPDF {version} no longer calls {name}"
            if name not in ours:
                yield f"{file.name}: {name} is not in the module, or is not found there by {library.name}"
    if not declared:
        yield f"{overrides} declares no overrides"


def main():
    found = list(problems(*map(pathlib.Path, sys.argv[1:5])))
    print("\n".join(found))
    sys.exit(1 if found else 0)


if __name__ == "__main__":
    main()
