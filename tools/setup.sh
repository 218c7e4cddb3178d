# Shared by ./run and ./test: installs missing Debian packages and builds a preset. To be sourced, not run.
# Quiet when nothing is to do; never asks a question.

pelgra_root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)

say() {
    printf 'pelgra: %s\n' "$*" >&2
}

fail() {
    say "$@"
    exit 1
}

# debian_release: its number; a large one where the system has none, as Debian's next.
debian_release() {
    (VERSION_ID= && . /etc/os-release 2>/dev/null; echo "${VERSION_ID:-99}")
}

# package_names LIST…: the names in packages/LIST.txt. A line that ends with "from 13" is left out on earlier releases.
package_names() {
    local list
    for list in "$@"; do
        sed -e 's/[[:space:]]*\(#.*\)\?$//' -e '/^$/d' "$pelgra_root/packages/$list.txt"
    done | awk -v release="$(debian_release)" '/ from [0-9]+$/ { if (release + 0 < $NF) next; sub(/ +from [0-9]+$/, "") } 1'
}

# missing_packages LIST…: the lines of packages/LIST.txt of which no installed package has or provides a name.
missing_packages() {
    package_names "$@" | awk -F ' *[,|] *' '
        NR == FNR { for (i = 1; i <= NF; ++i) { sub(/ .*/, "", $i); present[$i] } next }
        { for (i = 1; i <= NF; ++i) if ($i in present) next; print }
    ' <(dpkg-query -W -f '${db:Status-Status}, ${Package}, ${Provides}\n' | sed -n 's/^installed, //p') -
}

# as_root COMMAND…: as it is for root, else through sudo.
as_root() {
    if [ "$(id -u)" = 0 ]; then
        "$@"
    else
        sudo "$@"
    fi
}

# ensure_packages LIST…: installs what the lists name and the system lacks.
ensure_packages() {
    local stamp="$pelgra_root/build/.packages-$(IFS=-; echo "$*")"
    # Nothing was installed or removed, and no list has changed, since everything was last found in place.
    if [ -e "$stamp" ] && [ "$stamp" -nt "$pelgra_root/packages" ] && [ ! /var/lib/dpkg/status -nt "$stamp" ]; then
        local list newer=
        for list in "$@"; do
            [ "$pelgra_root/packages/$list.txt" -nt "$stamp" ] && newer=yes
        done
        [ -n "$newer" ] || return 0
    fi
    mkdir -p "$pelgra_root/build"
    if ! command -v apt-get >/dev/null || ! command -v dpkg-query >/dev/null; then
        if [ ! -e "$pelgra_root/build/.no-apt-told" ]; then
            say "this system has no apt. Pelgra needs what these Debian packages hold; install it by your system's own means:"
            package_names "$@" | sed 's/^/  /' >&2
            say "then run this again."
            touch "$pelgra_root/build/.no-apt-told"
            exit 1
        fi
        return 0
    fi
    local missing
    mapfile -t missing < <(missing_packages "$@")
    if [ ${#missing[@]} -gt 0 ]; then
        install_packages "${missing[@]}"
    fi
    touch "$stamp"
}

# install_packages LINE…: by apt, its output in a log that is shown only when it fails.
install_packages() {
    local log="$pelgra_root/build/packages.log" wanted
    wanted=$(printf '%s, ' "$@")
    wanted=${wanted%, }
    if [ "$(id -u)" != 0 ] && ! command -v sudo >/dev/null; then
        fail "packages are missing, and neither root rights nor sudo are at hand. As root: apt-get satisfy '$wanted'"
    fi
    say "installing $# Debian packages and what they need (this happens once): $wanted"
    local command=(env DEBIAN_FRONTEND=noninteractive apt-get satisfy -y --no-install-recommends
        -o DPkg::Lock::Timeout=300 -o Acquire::Retries=3 "$wanted")
    if ! as_root "${command[@]}" >"$log" 2>&1 </dev/null; then
        # The lists of packages may be missing or old.
        if ! { as_root apt-get update && as_root "${command[@]}"; } >"$log" 2>&1 </dev/null; then
            tail -n 20 "$log" >&2
            fail "installing packages failed; the whole log: $log"
        fi
    fi
}

# build_preset PRESET [TARGET…]: configures if needed and builds; output is shown only when it fails.
build_preset() {
    local preset=$1
    shift
    local directory="$pelgra_root/build/$preset" log="$pelgra_root/build/$preset.log" targets=("$@")
    mkdir -p "$pelgra_root/build"
    if [ ! -e "$directory/build.ninja" ]; then
        say "building the $preset preset (the first time takes some minutes)…"
        (cd "$pelgra_root" && cmake --preset "$preset") >"$log" 2>&1 || {
            tail -n 30 "$log" >&2
            fail "configuring failed; the whole log: $log"
        }
    fi
    ninja -C "$directory" "${targets[@]}" >"$log" 2>&1 || {
        grep -E -A8 'FAILED|error' "$log" | head -n 60 >&2 || tail -n 30 "$log" >&2
        fail "building failed; the whole log: $log"
    }
}
