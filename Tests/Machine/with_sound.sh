#!/usr/bin/env bash
# Runs a command in an audio session over the sound cards of the emulated machine, on which it runs.
#
#   with_sound.sh SOCKET_PROGRAM COMMAND...    the program adds the HDMI socket's controls, which must be there first
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
# The driver's own jack, always empty, keeps the usual name.
sed -i 's,^\[Jack HDMI/DP\],[Jack Plugged HDMI],' /usr/share/alsa-card-profile/mixer/paths/hdmi-output-0.conf
# The session manager ends when it cannot find out who is logged in, which it wants to know for Bluetooth.
mkdir -p /etc/wireplumber/bluetooth.lua.d
cat >/etc/wireplumber/bluetooth.lua.d/80-none.lua <<'LUA'
bluez_monitor.enabled = false
bluez_monitor.properties["with-logind"] = false
LUA
"$1"
shift
# An emulated machine of the usual speed is as many times slower than one that is not emulated.
export QUENSTAL_PATIENCE=$((6 * QUENSTAL_MACHINE_SLOWNESS))
exec "$root/tools/audio_session.sh" run /bin/false "$@"
