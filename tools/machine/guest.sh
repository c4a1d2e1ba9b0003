#!/usr/bin/env bash
# The second program on the emulated machine: mounts what every program expects, starts the device manager, runs the
# command and turns the machine off.
set -u
export PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/root LANG=C.UTF-8
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
kernel=$root/build/machine/kernel

mount -t tmpfs run /run
mkdir -p /run/lock /run/udev /dev/pts /dev/shm /out "/lib/modules/$(uname -r)"
mount -t devpts devpts /dev/pts
mount -t tmpfs shm /dev/shm
mount --bind "$kernel/lib/modules/$(uname -r)" "/lib/modules/$(uname -r)"
mount -t 9p -o trans=virtio,version=9p2000.L,cache=none out /out
ip link set lo up
exec </dev/null >/dev/hvc0 2>&1
stty -F /dev/hvc0 raw

/lib/systemd/systemd-udevd --daemon 2>/dev/null
udevadm trigger --action=add
udevadm settle --timeout=60
cd "$root" || exit
tools/machine/run_command.sh /out 7 180
exec busybox poweroff -f
