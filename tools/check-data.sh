#!/bin/sh
# Validates the desktop entries, the AppStream metadata, the icons, the entries for file managers, the completions and
# the manual pages. Usage: check-data.sh SOURCE-FOLDER
root=$(cd "$1" && pwd) && cd "$root/data" || exit 1
status=0
for entry in desktop/*.desktop filemanagers/*sendto.desktop; do
    # The checker's hints are not errors; its errors are.
    desktop-file-validate "$entry" || status=1
done
# There is no page about the program yet that could be named.
complaints=$(appstreamcli validate --no-net --no-color desktop/org.pelgra.Pelgra.metainfo.xml 2>&1)
[ $? -lt 4 ] && ! echo "$complaints" | grep '^[EW]:' | grep -v ' url-homepage-missing$' || { echo "$complaints" >&2; status=1; }
for picture in icons/*.svg symbols/*.svg; do
    rsvg-convert -w 64 "$picture" >/dev/null || status=1
done
"$root/tools/check-entries.py" "$root/data" || status=1
bash -n completions/pelgra.bash || status=1
for page in ../docs/man/*.1; do
    complaints=$(LC_ALL=C.UTF-8 MANROFFSEQ='' MANWIDTH=80 man --warnings -E UTF-8 -l -Tutf8 -Z "$page" 2>&1 >/dev/null)
    [ -z "$complaints" ] || { echo "$page: $complaints" >&2; status=1; }
done
exit $status
