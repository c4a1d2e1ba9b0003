#!/usr/bin/env bash
# Installs the key service on the emulated machine, on which it runs, as a package does, and then runs a command.
#
#   with_key_service.sh BUILD_TREE COMMAND...
set -euo pipefail

if [ ! -x /usr/lib/polkit-1/polkitd ]; then
    echo "skipped: polkitd is not installed"
    echo "0 passed, 0 failed, 1 skipped"
    exit 0
fi
cmake --install "$1" --component keyservice >/dev/null
[ -x /usr/libexec/quenstal-keyd ] || { echo "$1 installs elsewhere than a package would: configure it afresh"; exit 1; }
shift
systemd-sysusers quenstal-keyd.conf
modprobe uinput
systemd-tmpfiles --create quenstal-keyd.conf
systemctl daemon-reload
busctl call org.freedesktop.DBus /org/freedesktop/DBus org.freedesktop.DBus ReloadConfig
exec "$@"
