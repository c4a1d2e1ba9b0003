#!/usr/bin/env bash
# The kernel that the emulated machine boots: a stock one of Debian, unpacked below build/ and never installed.
#
#   fetch.sh    ends with the closing line of a suite
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
place=$root/build/machine

skip() {
    echo "skipped: $1"
    echo "0 passed, 0 failed, 1 skipped"
    exit 0
}

# unpack VERSION: what the emulator boots and its modules come from, and the first programs that run on it.
unpack() {
    local version=$1 tree=$place/unpacking
    rm -rf "$tree"
    mkdir -p "$tree"
    echo "fetching linux-image-$version (about 70 MB)"
    # apt's own user may have no access to the folder; apt only prints a note.
    (cd "$tree" && apt-get download -qq "linux-image-$version" 2>/dev/null) ||
        skip "linux-image-$version cannot be downloaded"
    dpkg -x "$tree"/*.deb "$tree"
    rm "$tree"/*.deb
    depmod -b "$tree" "$version"
    pack_initrd "$tree" "$version"
    rm -rf "${place:?}/kernel"
    mv "$tree" "$place/kernel"
}

# pack_initrd TREE VERSION: a few programs, and the modules without which the host's files cannot be reached.
pack_initrd() {
    local tree=$1 version=$2 files=$1/initrd module path
    mkdir -p "$files"/{bin,dev,proc,sys,modules,lower,upper,root}
    cp "$(command -v busybox)" "$files/bin/busybox"
    for module in virtio_pci virtio_console 9pnet_virtio 9p overlay; do
        modprobe -d "$tree" -S "$version" --show-depends "$module"
    done | awk '$1 == "insmod" && !seen[$2]++ { print $2 }' | while IFS= read -r path; do
        cp "$path" "$files/modules/"
        basename "$path" >>"$files/modules/order"
    done
    cp "$root/tools/machine/init.sh" "$files/init"
    chmod +x "$files/init"
    (cd "$files" && find . | cpio --quiet -o -H newc) >"$tree/initrd.img"
    rm -r "$files"
}

PATH=$PATH:/usr/sbin:/sbin
for program in qemu-system-x86_64 busybox cpio depmod modprobe systemctl udevadm; do
    command -v "$program" >/dev/null || skip "$program is not installed"
done
[ "$(uname -m)" = x86_64 ] || skip "the emulated machine has an x86-64 processor, and runs the programs of this one"
package=$(apt-cache depends linux-image-amd64 2>/dev/null | awk '/Depends: linux-image-[0-9]/ { print $2; exit }')
[ -n "$package" ] || skip "the package linux-image-amd64 is not known here"
version=${package#linux-image-}
stamp="$version $(cat "${BASH_SOURCE[0]}" "$root/tools/machine/init.sh" | sha256sum)"
if [ "$(cat "$place/kernel/stamp" 2>/dev/null)" != "$stamp" ]; then
    unpack "$version"
    echo "$version" >"$place/kernel/version"
    echo "$stamp" >"$place/kernel/stamp"
fi
echo "linux $version"
echo "1 passed, 0 failed"
