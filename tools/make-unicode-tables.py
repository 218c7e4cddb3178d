#!/usr/bin/env python3
"""Writes UnicodeRanges.cpp and UnicodeForms.cpp of the core from the Unicode data that this Python carries.

Usage: tools/make-unicode-tables.py Packages/PelgraCore/src
"""
import pathlib
import subprocess
import sys
import textwrap
import unicodedata

LETTERS = {"Lu", "Ll", "Lt", "Lm", "Lo", "Nl"}


def is_letter(code):
    return unicodedata.category(chr(code)) in LETTERS


def is_lower(code):
    # Python's test is the derived property Lowercase: lower-case letters and the modifier letters shaped like them.
    return chr(code).islower()


def is_right_to_left(code):
    return unicodedata.bidirectional(chr(code)) in ("R", "AL")


def ranges(test):
    start = None
    for code in range(0x110001):
        inside = code < 0x110000 and test(code)
        if inside and start is None:
            start = code
        elif not inside and start is not None:
            yield start, code - 1
            start = None


def range_table(name, test, why):
    pairs = ",".join(f"{{{first:#x},{last:#x}}}" for first, last in ranges(test))
    return f"// {why}\nconstexpr CodePointRange {name}Data[] = {{{pairs}}};\n"


def forms():
    """Letters of Arabic script drawn for one place in a word, and the letters they stand for; no whole phrases."""
    for code in (*range(0xFB50, 0xFE00), *range(0xFE70, 0xFF00)):
        tag, _, letters = unicodedata.decomposition(chr(code)).partition(" ")
        letters = [letter for letter in letters.split() if letter != "0020"]
        if tag in ("<isolated>", "<initial>", "<medial>", "<final>") and len(letters) <= 4:
            yield f"{{{code:#x},u\"" + "".join(f"\\u{letter}" for letter in letters) + '"}'


def write(path, body):
    path.write_text(f"""#include "Unicode.h"

// Written by tools/make-unicode-tables.py from Unicode {unicodedata.unidata_version}; not to be edited by hand.
namespace Pelgra::Unicode {{

namespace {{

{body}
}} // namespace Pelgra::Unicode
""")
    subprocess.run(["clang-format-19", "-i", str(path)], check=True)


def main():
    folder = pathlib.Path(sys.argv[1])
    tables = {"letterRanges": (is_letter, "General categories L and Nl."),
              "lowercaseRanges": (is_lower, "The derived property Lowercase."),
              "rightToLeftRanges": (is_right_to_left, "Bidirectional classes R and AL.")}
    write(folder / "UnicodeRanges.cpp",
          "".join(range_table(name, *entry) for name, entry in tables.items()) + "\n} // namespace\n\n"
          + "".join(f"const std::span<const CodePointRange> {name} = {name}Data;\n" for name in tables))
    write(folder / "UnicodeForms.cpp",
          "// Compatibility decompositions of presentation forms.\n// clang-format off\nconstexpr PresentationForm presentationFormsData[] = {"
          + "\n" + textwrap.fill(", ".join(forms()), 118, break_on_hyphens=False) + "\n};\n// clang-format on\n\n} // namespace\n\n"
          "const std::span<const PresentationForm> presentationForms = presentationFormsData;\n")


if __name__ == "__main__":
    main()
