#!/usr/bin/env bash
# Sets up as an ordinary user who has no sudo: what is installed is enough, what is missing is told by name, and nobody
# is asked for a password. Usage: check-setup.sh SOURCE-FOLDER
set -euo pipefail
source=$(cd "$1" && pwd)
for program in apt-get dpkg-query; do
    command -v $program >/dev/null || { echo "skipped: no $program here"; exit 77; }
done
if [ "$(id -u)" = 0 ]; then
    as_user=(setpriv --reuid=nobody --regid=nogroup --clear-groups)
else
    as_user=()
fi

scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
mkdir "$scratch/bin" "$scratch/tools" "$scratch/packages"
for program in apt-get awk bash dirname dpkg-query env id mkdir sed tail touch; do
    ln -s "$(command -v $program)" "$scratch/bin/"
done
cp "$source/tools/setup.sh" "$scratch/tools/"
cp "$source"/packages/*.txt "$scratch/packages/"
chmod -R a+rwX "$scratch"
status=0

# set_up EXPECTED-STATUS PATTERN LIST…: how it ends, and what it says: something like the pattern, or nothing.
set_up() {
    local expected=$1 pattern=$2 result=0 said
    shift 2
    rm -rf "$scratch/build"
    said=$("${as_user[@]}" env -i PATH="$scratch/bin" bash -euc '. "$0/tools/setup.sh"; ensure_packages "$@"' \
        "$scratch" "$@" 2>&1) || result=$?
    # shellcheck disable=SC2053 # a pattern
    if [ "$result" != "$expected" ] || [[ "$said" != $pattern ]]; then
        echo "setting up $*: ended with $result instead of $expected, and said: $said" >&2
        status=1
    fi
}

printf '# of the tests\n\nbash\nawk  # only provided, by mawk or another\npelgra-is-not-there | bash\npelgra-is-not-there from 99999\n' >"$scratch/packages/present.txt"
printf 'bash\npelgra-is-not-there from 1\n' >"$scratch/packages/absent.txt"
set_up 0 '' present
set_up 1 "*'pelgra-is-not-there'" absent
# ./test has installed these before it runs this.
set_up 0 '' build test

# With sudo in reach, nothing that is there calls it.
printf '#!/bin/bash\necho "sudo was called: $*"\nexit 1\n' >"$scratch/bin/sudo"
chmod a+x "$scratch/bin/sudo"
set_up 0 '' present
set_up 1 '*pelgra-is-not-there*' absent
grep -q 'sudo was called' "$scratch/build/packages.log" || { echo "sudo was not asked for what is missing" >&2; status=1; }
exit $status
