#!/bin/sh
# Validates the desktop entries, the AppStream metadata and the icons. Usage: check-data.sh SOURCE-FOLDER
cd "$1/data" || exit 1
status=0
for entry in desktop/*.desktop filemanagers/*sendto.desktop; do
    # The checker's hints are not errors; its errors are.
    desktop-file-validate "$entry" || status=1
done
appstreamcli validate --no-net desktop/org.pelgra.Pelgra.metainfo.xml || status=1
for picture in icons/*.svg symbols/*.svg; do
    rsvg-convert -w 64 "$picture" >/dev/null || status=1
done
python3 -m py_compile filemanagers/pelgra_menu.py && rm -rf filemanagers/__pycache__ || status=1
for rules in filemanagers/*.nemo_action; do
    grep -q '^Exec=pelgra-desktop wheel --kind' "$rules" || { echo "$rules runs nothing" >&2; status=1; }
done
exit $status
