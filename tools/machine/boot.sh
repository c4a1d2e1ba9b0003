#!/usr/bin/env bash
# Boots the emulated machine and runs a command on it, as root, with the files of this machine.
#
#   boot.sh NAME [-append KERNEL_OPTIONS] [QEMU_OPTION...] -- COMMAND...
#
# Prints what the command prints and ends with its status; 1 when the machine did not get that far. Whatever the
# command leaves in /out is found in build/machine/NAME. The command may talk to the emulator (QMP) through the port
# "emulator".
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
kernel=$root/build/machine/kernel
# For a machine that does not boot, or does not turn itself off. The command has a limit of its own there, which follows
# the machine's speed.
limit_seconds=2400

name=$1
shift
devices=()
kernel_options=
while [ "$1" != -- ]; do
    if [ "$1" = -append ]; then
        kernel_options=$2
        shift
    else
        devices+=("$1")
    fi
    shift
done
shift

if [ ! -f "$kernel/stamp" ]; then
    echo "skipped: there is no kernel to boot"
    echo "0 passed, 0 failed, 1 skipped"
    exit 0
fi
version=$(cat "$kernel/version")
out=$root/build/machine/$name
rm -rf "$out"
mkdir -p "$out"
printf 'QUENSTAL_MACHINE_OUT=%q ' "$out" >"$out/command"
printf '%q ' "$@" >>"$out/command"

# One end of the socket is the emulator's own, the other the port in the machine: a program there can pull out the
# keyboard that it reads.
socket=$(mktemp -u /tmp/quenstal-machine-XXXXXX)
trap 'rm -f "$socket"' EXIT
status=0
# Slow, but the same everywhere: emulated machines are seldom let near the processor's own help.
timeout "$limit_seconds" qemu-system-x86_64 -accel tcg,thread=multi,tb-size=512 -cpu max,aes=off,pclmulqdq=off -M q35,usb=off,vmport=off,i8042=off,sata=off \
    -m 1024 -nodefaults -no-user-config -no-reboot -display none \
    -kernel "$kernel/boot/vmlinuz-$version" -initrd "$kernel/initrd.img" \
    -append "console=ttyS0 quiet loglevel=4 panic=-1 tsc=reliable no_timer_check mitigations=off init_on_alloc=0 audit=0 modprobe.blacklist=kvm_amd,iTCO_wdt,powernow_k8 systemd.show_status=false $kernel_options guest=$root/tools/machine/${QUENSTAL_MACHINE_GUEST:-guest}.sh" \
    -serial "file:$out/console.log" \
    -virtfs "local,path=/,mount_tag=host,security_model=none,readonly=on,multidevs=remap" \
    -virtfs "local,path=$out,mount_tag=out,security_model=none" \
    -device virtio-serial-pci -chardev stdio,id=output -device virtconsole,chardev=output \
    -chardev "socket,id=monitor,path=$socket,server=on,wait=off" -mon chardev=monitor,mode=control \
    -chardev "socket,id=port,path=$socket" -device virtserialport,chardev=port,name=emulator \
    "${devices[@]}" </dev/null || status=$?
if [ ! -f "$out/status" ]; then
    [ "$status" != 124 ] || echo "The emulated machine reached its limit of $limit_seconds s."
    if [ -f "$out/booted" ]; then
        echo "It booted, and did not end its command (the emulator's status is $status). Its console:"
    else
        echo "It did not boot (the emulator's status is $status). Its console:"
    fi
    tail -n 20 "$out/console.log"
    exit 1
fi
exit "$(cat "$out/status")"
