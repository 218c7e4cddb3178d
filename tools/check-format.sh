#!/bin/sh
# Fails when a source file is not formatted. Usage: check-format.sh SOURCE-FOLDER
cd "$1" || exit 1
command -v clang-format-19 >/dev/null || { echo "clang-format-19 is missing; see packages/test.txt" >&2; exit 1; }
find Packages Sources Tests Benchmarks -name '*.h' -o -name '*.cpp' -o -name '*.c' | sort | xargs clang-format-19 --dry-run -Werror
