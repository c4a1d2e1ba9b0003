#!/usr/bin/env bash
# Runs a command in a minimal Debian 13, for what the newer audio server and session manager do differently. This
# repository is at its own path in there; sound, network and everything else outside stay untouched.
#
#   tools/in_debian_13.sh COMMAND...    exits with the command's status, or with 77 and a reason without the system
#
# The system is made once, below build/, from the mirror that this machine's apt uses. It takes about a minute.
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
system=$root/build/debian-13
packages=pipewire-bin,pipewire-pulse,wireplumber,dbus-daemon,dbus-x11,pulseaudio-utils

skip() {
    echo "skipped: no Debian 13 here: $*"
    exit 77
}

make_system() {
    local mirror
    # shellcheck disable=SC2016 # a variable of apt's own
    mirror=$(apt-get indextargets --format '$(SITE)' 'Created-By: Packages' 'Label: Debian' | head -n 1)
    [ -n "$mirror" ] || skip "apt knows no mirror of Debian"
    rm -rf "$system.new"
    mkdir -p "$root/build"
    debootstrap --variant=minbase --include="$packages" trixie "$system.new" "$mirror" >"$root/build/debian-13.log" 2>&1 ||
        skip "its packages cannot be had; see build/debian-13.log"
    rm -rf "$system.new"/var/cache/apt/archives/*.deb
    mv "$system.new" "$system"
}

# In namespaces of its own, so that its mounts disappear with it.
enter() {
    mount --rbind /proc "$system/proc"
    mount --rbind /dev "$system/dev"
    mount -t tmpfs none "$system/tmp"
    mkdir -p "$system$root"
    mount --bind "$root" "$system$root"
    exec chroot "$system" /usr/bin/env -u TMPDIR -C "$root" "$@"
}

if [ "${1:-}" = --enter ]; then
    shift
    enter "$@"
fi
[ "$#" -gt 0 ] || { sed -n '2,7s/^# \{0,1\}//p' "$0"; exit 2; }
[ "$(id -u)" = 0 ] || skip "only root can enter it"
command -v debootstrap >/dev/null || skip "debootstrap is missing"
unshare --mount true 2>/dev/null || skip "this machine gives no name spaces"
[ -d "$system" ] || make_system
exec unshare --mount --propagation private "$0" --enter "$@"
