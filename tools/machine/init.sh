#!/bin/busybox sh
# shellcheck shell=dash
# The first program on the emulated machine: the files of the host, read-only, with a layer in memory on top, become
# its root. On the kernel's command line: guest= the script to go on with.
busybox=/bin/busybox
$busybox mount -t devtmpfs dev /dev
$busybox mount -t proc proc /proc
$busybox mount -t sysfs sys /sys
while read -r module; do $busybox insmod "/modules/$module"; done </modules/order
$busybox mount -t 9p -o trans=virtio,version=9p2000.L,msize=512000,cache=loose,ro host /lower
$busybox mount -t tmpfs upper /upper
$busybox mkdir /upper/changed /upper/work
$busybox mount -t overlay -o lowerdir=/lower,upperdir=/upper/changed,workdir=/upper/work overlay /root
for place in dev proc sys; do $busybox mount --move /$place /root/$place; done
guest=$($busybox sed -n 's/.*guest=\([^ ]*\).*/\1/p' /root/proc/cmdline)
exec $busybox switch_root /root /bin/bash "$guest"
