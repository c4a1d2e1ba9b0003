#!/usr/bin/env bash
# Shared by the commands at the root: packages, configuring, building. Sourced, never run.
# All paths are absolute, so that the caller's working directory does not matter.

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)

# answer_options ARGUMENT...: on --help prints the comment at the top of the calling script and exits; refuses any other
# option. Call it before anything is installed or built.
answer_options() {
    local argument
    for argument in "$@"; do
        case $argument in
            -h | --help)
                awk 'NR > 1 && !/^#/ { exit } NR > 1 { sub(/^# ?/, ""); print }' "$0"
                exit 0
                ;;
            -*) refuse "unknown option $argument" ;;
        esac
    done
}

# refuse REASON: exits a script whose arguments make no sense.
refuse() {
    echo "$0: $1 (see \"$0 --help\")" >&2
    exit 2
}

# packages_listed all|app|GROUP: the names in tools/packages.txt, for everything, for the application alone, or of one
# group.
packages_listed() {
    awk -v wanted="$1" '
        /^# [a-z-]+:/ {
            left_out = wanted == "app" ? $3 == "tests" && $4 ~ /^only/ : wanted != "all" && $2 != wanted ":"
        }
        /^[?a-z]/ && !left_out { print $1 }' "$root/tools/packages.txt"
}

packages_missing() {
    local listed=("$@") installed
    installed=$(dpkg-query -W -f='${db:Status-Status} ${Package}\n' "${listed[@]#\?}" 2>/dev/null || true)
    local name
    for name in "${listed[@]}"; do
        grep -qxF "installed ${name#\?}" <<<"$installed" || printf '%s\n' "$name"
    done
}

as_root() {
    if [ "$(id -u)" = 0 ]; then "$@"; else sudo "$@"; fi
}

apt_install() {
    as_root env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends \
        -o DPkg::Lock::Timeout=300 "$@" >>"$root/build/install.log" 2>&1
}

# ensure_packages all|app|GROUP: installs the listed packages that are missing. Asks dpkg first, so that it is quick
# when there is nothing to do. Exits the script when a required package cannot be installed.
ensure_packages() {
    local listed missing needed=() optional=() name
    mkdir -p "$root/build"
    if ! command -v dpkg-query >/dev/null; then
        echo "No dpkg here: the packages in tools/packages.txt, or their equivalents, must already be installed."
        return
    fi
    mapfile -t listed < <(packages_listed "$1")
    mapfile -t missing < <(packages_missing "${listed[@]}")
    for name in "${missing[@]}"; do
        case $name in
            \?*) grep -qsxF "${name#\?}" "$root/build/unavailable-packages" || optional+=("${name#\?}") ;;
            *) needed+=("$name") ;;
        esac
    done
    [ "${#needed[@]}" -gt 0 ] || [ "${#optional[@]}" -gt 0 ] || return 0
    if [ "$(id -u)" != 0 ] && ! command -v sudo >/dev/null; then
        echo "Missing, and cannot be installed without root or sudo: ${needed[*]} ${optional[*]}"
        [ "${#needed[@]}" = 0 ] || exit 1
        return 0
    fi

    echo "Installing with apt: ${needed[*]} ${optional[*]}"
    : >"$root/build/install.log"
    # Without a network, the lists from the last update may still be good enough.
    as_root apt-get update -qq >>"$root/build/install.log" 2>&1 || true
    if [ "${#needed[@]}" -gt 0 ] && ! apt_install "${needed[@]}"; then
        cat "$root/build/install.log"
        echo "Could not install: ${needed[*]}"
        exit 1
    fi
    for name in "${optional[@]}"; do
        apt_install "$name" && continue
        echo "Not available: $name. Whatever needs it is skipped."
        echo "$name" >>"$root/build/unavailable-packages"
    done
    touch "$root/build/packages-changed"
}

# configured PRESET: whether the build tree exists, belongs to this folder and is newer than the presets and packages.
configured() {
    local tree=$root/build/$1
    [ -f "$tree/build.ninja" ] && [ -f "$tree/configured" ] || return 1
    [ "$root/CMakePresets.json" -nt "$tree/configured" ] && return 1
    [ "$root/build/packages-changed" -nt "$tree/configured" ] && return 1
    grep -qxF "CMAKE_HOME_DIRECTORY:INTERNAL=$root" "$tree/CMakeCache.txt"
}

configure() {
    configured "$1" && return
    echo "Configuring build/$1"
    local log=$root/build/configure-$1.log
    mkdir -p "$root/build"
    (cd "$root" && cmake --fresh --preset "$1") >"$log" 2>&1 || { cat "$log"; return 1; }
    touch "$root/build/$1/configured"
}

# Passes on one of ninja's progress lines for each tenth of the way, and everything that is not progress.
show_progress() {
    local line tenth shown=0
    while IFS= read -r line; do
        if [[ $line =~ ^\[([0-9]+)/([0-9]+)\] ]]; then
            tenth=$((10 * BASH_REMATCH[1] / BASH_REMATCH[2]))
            [ "$tenth" -gt "$shown" ] || continue
            shown=$tenth
        elif [ "$line" = "ninja: no work to do." ]; then
            continue
        fi
        printf '%s\n' "$line"
    done
}

# build PRESET TARGET...
build() {
    local preset=$1
    shift
    configure "$preset"
    local command=(cmake --build "$root/build/$preset" --parallel "$(nproc)" --target "$@")
    # On a terminal ninja draws its own progress, in one line.
    if [ -t 1 ]; then "${command[@]}"; else "${command[@]}" | show_progress; fi
}
