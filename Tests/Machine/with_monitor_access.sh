#!/usr/bin/env bash
# Gives the emulated machine, on which it runs, the package's access to monitors, and then runs a command.
#
#   with_monitor_access.sh COMMAND...
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
cp "$root"/packaging/udev/*.rules /etc/udev/rules.d/
udevadm control --reload
/lib/systemd/systemd-modules-load "$root"/packaging/modules-load.d/*.conf
exec "$@"
