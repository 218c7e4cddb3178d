#!/usr/bin/env python3
"""Prints src/UnicodeTables.cpp of the core from the Unicode data that this Python carries.

Usage: tools/make-unicode-tables.py > Packages/PelgraCore/src/UnicodeTables.cpp && clang-format -i on it
"""
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


def table(name, test, why):
    pairs = list(ranges(test))
    print(f"// {why}")
    print(f"constexpr CodePointRange {name}Data[] = {{")
    print(",".join(f"{{{first:#x},{last:#x}}}" for first, last in pairs))
    print("};")
    return name


print(f"""#include "Unicode.h"

// Written by tools/make-unicode-tables.py from Unicode {unicodedata.unidata_version}; not to be edited by hand.
namespace Pelgra::Unicode {{

namespace {{
""")
names = [table("letterRanges", is_letter, "General categories L and Nl."),
         table("lowercaseRanges", is_lower, "The derived property Lowercase."),
         table("rightToLeftRanges", is_right_to_left, "Bidirectional classes R and AL.")]
print("\n} // namespace\n")
for name in names:
    print(f"const std::span<const CodePointRange> {name} = {name}Data;")
print("\n} // namespace Pelgra::Unicode")
