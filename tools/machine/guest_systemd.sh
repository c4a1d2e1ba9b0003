#!/usr/bin/env bash
# The second program on the emulated machine when it is to have logins: gives way to systemd, which starts the bus, the
# device manager and logind, and then runs the command and turns the machine off.
set -eu
export PATH=/usr/sbin:/usr/bin:/sbin:/bin
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)

mkdir -p /out "/lib/modules/$(uname -r)"
mount --bind "$root/build/machine/kernel/lib/modules/$(uname -r)" "/lib/modules/$(uname -r)"
mount -t 9p -o trans=virtio,version=9p2000.L,cache=none out /out

# A machine of its own, not a copy of the host: nothing of the host's is mounted, enabled or remembered.
: >/etc/fstab
# Machines get such a number when they are installed.
echo 0123456789abcdef0123456789abcdef >/etc/machine-id
rm -rf /etc/systemd/system
mkdir -p /etc/systemd/system
mask() { ln -s /dev/null "/etc/systemd/$1"; }
# Every program that is not started makes the machine quicker, and nothing depends on these. Nothing below /tmp is cleaned
# away: this tree may be there.
for unit in tmp.mount user@.service systemd-tmpfiles-clean.timer systemd-networkd.service getty@.service; do
    mask "system/$unit"
done
for unit in /lib/systemd/system/sysinit.target.wants/*; do
    case ${unit##*/} in
        systemd-journald.service | kmod-static-nodes.service | systemd-tmpfiles-setup-dev.service) ;;
        systemd-modules-load.service | systemd-udevd.service | systemd-udev-trigger.service) ;;
        *) mask "system/${unit##*/}" ;;
    esac
done
# They make units of the host's settings, again whenever units are read anew.
mkdir /etc/systemd/system-generators
for generator in /lib/systemd/system-generators/*; do mask "system-generators/${generator##*/}"; done
# Shown status is a hundred lines a second over a serial line.
printf '[Manager]\nShowStatus=no\n' >/etc/systemd/system.conf
printf '[Journal]\nReadKMsg=no\nAudit=no\n' >/etc/systemd/journald.conf
# Other programs of the host give access to monitors as well.
grep -lZE '^SUBSYSTEM=="i2c-dev".*uaccess' /usr/lib/udev/rules.d/*.rules | xargs --null --no-run-if-empty rm
cat >/etc/systemd/system/machine.service <<UNIT
[Unit]
DefaultDependencies=no
Requires=dbus.socket
Wants=systemd-modules-load.service systemd-udevd.service systemd-udev-trigger.service systemd-logind.service
After=systemd-modules-load.service systemd-udev-trigger.service dbus.socket systemd-logind.service
SuccessAction=poweroff-force
FailureAction=poweroff-force

[Service]
Type=oneshot
WorkingDirectory=$root
Environment=HOME=/root LANG=C.UTF-8 PATH=$PATH
ExecStartPre=udevadm settle --timeout=60
ExecStart=/bin/bash -c 'stty -F /dev/hvc0 raw; tools/machine/run_command.sh /out 10 180 >/dev/hvc0 2>&1'
UNIT
exec /lib/systemd/systemd --unit=machine.service --log-target=kmsg
